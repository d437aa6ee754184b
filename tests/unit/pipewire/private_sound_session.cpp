#include "unit/pipewire/private_sound_session.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quorvane::test {
namespace {

namespace fs = std::filesystem;

constexpr auto startPatience = std::chrono::seconds(10);

std::string nullSink(const std::string& name, int priority) {
    return "  { factory = adapter args = {\n"
           "      factory.name = support.null-audio-sink\n"
           "      node.name = " +
           name +
           "\n"
           "      node.description = \"The " +
           name +
           "\"\n"
           "      media.class = Audio/Sink\n"
           "      audio.position = [ FL FR ]\n"
           "      priority.session = " +
           std::to_string(priority) +
           "\n"
           "  } }\n";
}

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// In the child: only calls that are safe between fork and exec.
[[noreturn]] void become(char* const* command, int output) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execvp(command[0], command);
    _exit(127);
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

PrivateSoundSession::PrivateSoundSession(Speakers speakers) : speakers_(speakers) {
    setenv("XDG_RUNTIME_DIR", directory_.c_str(), 1);
    setenv("HOME", directory_.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (directory_ + "/config").c_str(), 1);
    setenv("XDG_STATE_HOME", (directory_ + "/state").c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + directory_ + "/bus").c_str(), 1);
    for (const char* name : {"PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR", "PULSE_SERVER"}) {
        unsetenv(name);
    }
    if (speakers_ == Speakers::two) writeConfiguration();
    processes_["bus"] = spawn(
        {"dbus-daemon", "--session", "--nofork", "--address=unix:path=" + directory_ + "/bus"},
        "bus");
    if (!waitUntil([&] { return fs::exists(directory_ + "/bus"); }, startPatience)) {
        throw std::runtime_error("D-Bus did not start.");
    }
    startServer();
}

PrivateSoundSession::~PrivateSoundSession() {
    while (!processes_.empty())
        end(processes_.begin()->first);
}

void PrivateSoundSession::writeConfiguration() const {
    const fs::path folder = directory_ + "/config/pipewire/pipewire.conf.d";
    fs::create_directories(folder);
    std::ofstream file(folder / "speakers.conf");
    file << "context.objects = [\n"
         << nullSink("speakers", 1001) << nullSink("headset", 1000) << "]\n";
}

void PrivateSoundSession::startServer() {
    processes_["server"] = spawn({"pipewire"}, "server");
    if (!waitUntil([&] { return fs::exists(directory_ + "/pipewire-0"); }, startPatience)) {
        throw std::runtime_error("PipeWire did not start.");
    }
    startManager();
}

void PrivateSoundSession::startManager() {
    processes_["manager"] = spawn({"wireplumber"}, "manager");
    const std::string sign = speakers_ == Speakers::two ? "\"speakers\"" : "\"default\"";
    if (!waitUntil([&] { return run({"pw-metadata"}).find(sign) != std::string::npos; },
                   startPatience)) {
        throw std::runtime_error("WirePlumber did not start.");
    }
}

void PrivateSoundSession::killServer() {
    end("server");
    killManager();
    // What a killed server leaves behind; the next one would wait for its lock otherwise.
    fs::remove(directory_ + "/pipewire-0");
    fs::remove(directory_ + "/pipewire-0.lock");
}

void PrivateSoundSession::killManager() {
    end("manager");
    // Its defaults may outlive it for a moment, and would be taken for the next one's.
    waitUntil([&] { return run({"pw-metadata"}).find("\"default\"") == std::string::npos; });
}

void PrivateSoundSession::freezeServer() {
    kill(processes_.at("server"), SIGSTOP);
}

void PrivateSoundSession::thawServer() {
    kill(processes_.at("server"), SIGCONT);
}

void PrivateSoundSession::startMicrophone(const std::string& name, const std::string& channels) {
    processes_[name] = spawn(
        {"pw-loopback", "-m", "[" + channels + "]",
         "--capture-props=media.class=Audio/Sink node.name=" + name + "-feed priority.session=1",
         "--playback-props=media.class=Audio/Source node.name=" + name +
             " node.description=\"The " + name + "\" priority.session=2000"},
        name);
    if (!waitUntil([&] { return hasNode(name) && hasNode(name + "-feed"); }, startPatience)) {
        throw std::runtime_error("The microphone did not start.");
    }
}

void PrivateSoundSession::killMicrophone(const std::string& name) {
    end(name);
    // Or the next one of that name would be taken to be there already.
    if (!waitUntil([&] { return !hasNode(name) && !hasNode(name + "-feed"); }, startPatience)) {
        throw std::runtime_error("The microphone did not go.");
    }
}

void PrivateSoundSession::setDefaultSpeaker(const std::string& name) {
    run({"pw-metadata", "0", "default.configured.audio.sink", "{ \"name\": \"" + name + "\" }",
         "Spa:String:JSON"});
}

bool PrivateSoundSession::hasNode(const std::string& name) const {
    return run({"pw-cli", "ls", "Node"}).find("node.name = \"" + name + "\"") != std::string::npos;
}

std::string PrivateSoundSession::run(const std::vector<std::string>& command) const {
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("No pipe.");
    auto words = pointersTo(command);
    const pid_t child = fork();
    if (child == 0) become(words.data(), pipe[1]);
    close(pipe[1]);
    if (child < 0) {
        close(pipe[0]);
        throw std::runtime_error("No process.");
    }
    std::string output;
    std::array<char, 4096> piece{};
    ssize_t length = 0;
    while ((length = read(pipe[0], piece.data(), piece.size())) > 0) {
        output.append(piece.data(), static_cast<std::size_t>(length));
    }
    close(pipe[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? output : std::string();
}

pid_t PrivateSoundSession::spawn(const std::vector<std::string>& command,
                                 const std::string& log) const {
    const int output = open((directory_ + "/" + log + ".log").c_str(),
                            O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    auto words = pointersTo(command);
    const pid_t child = fork();
    if (child == 0) become(words.data(), output);
    close(output);
    if (child < 0) throw std::runtime_error("No process.");
    return child;
}

void PrivateSoundSession::end(const std::string& role) {
    const auto process = processes_.find(role);
    if (process == processes_.end()) return;
    kill(process->second, SIGKILL);
    waitpid(process->second, nullptr, 0);
    processes_.erase(process);
}

}  // namespace quorvane::test
