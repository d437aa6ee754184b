#include "simulation/sim_files.h"

#include <sstream>

#include "platform/platform_error.h"

namespace quorvane::simulation {
namespace {

class SimLogFile final : public platform::LogFile {
  public:
    SimLogFile(SimFiles& owner, std::string path) : owner_(owner), path_(std::move(path)) {
        ++owner_.openLogs;
    }
    ~SimLogFile() override { --owner_.openLogs; }
    SimLogFile(const SimLogFile&) = delete;
    SimLogFile& operator=(const SimLogFile&) = delete;
    void append(std::string_view line) override { owner_.files[path_].content += line; }

  private:
    SimFiles& owner_;
    const std::string path_;
};

[[noreturn]] void failWith(int number, const std::string& doing) {
    throw platform::posixError(number, doing);
}

}  // namespace

void SimFiles::call(const std::string& name, const std::string& arguments) {
    calls.push_back(name + " " + arguments);
    if (failing == name) failWith(EIO, "Could not " + name + " " + arguments);
    faults_.strike();
}

void SimFiles::createDirectory(const std::string& path) {
    call("create", path);
}

void SimFiles::removeItem(const std::string& path) {
    try {
        call("remove", path);
    } catch (...) {
        removalFailed = true;
        throw;
    }
    if (files.erase(path) == 0) failWith(ENOENT, "Could not remove " + path);
}

void SimFiles::copyItem(const std::string& source, const std::string& destination) {
    call("copy", source + " " + destination);
    const auto found = files.find(source);
    if (found == files.end()) failWith(ENOENT, "Could not copy " + source);
    if (!files.emplace(destination, found->second).second)
        failWith(EEXIST, "Could not copy to " + destination);
}

void SimFiles::replaceItem(const std::string& original, const std::string& replacement) {
    call("replace", original + " " + replacement);
    const auto found = files.find(replacement);
    if (found == files.end() || !files.contains(original))
        failWith(ENOENT, "Could not replace " + original);
    files[original] = found->second;
    files.erase(found);
}

std::vector<std::string> SimFiles::contentsOfDirectory(const std::string& path) {
    if (failing == "list") failWith(EACCES, "Could not list " + path);
    faults_.strike();
    calls.push_back("list " + path);
    const auto beginning = path == "/" ? path : path + "/";
    std::vector<std::string> names;
    for (const auto& [each, file] : files) {
        if (each.starts_with(beginning) && each.find('/', beginning.size()) == std::string::npos)
            names.push_back(each.substr(beginning.size()));
    }
    return names;
}

std::unique_ptr<platform::LogFile> SimFiles::createLogFile(const std::string& path) {
    call("log", path);
    files[path] = {};
    return std::make_unique<SimLogFile>(*this, path);
}

std::vector<std::string> SimFiles::pathsWith(const std::string& text) const {
    std::vector<std::string> paths;
    for (const auto& [path, file] : files) {
        if (path.find(text) != std::string::npos) paths.push_back(path);
    }
    return paths;
}

std::vector<std::string> SimFiles::logLines(const std::string& path) const {
    std::vector<std::string> lines;
    std::istringstream text(files.at(path).content);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

}  // namespace quorvane::simulation
