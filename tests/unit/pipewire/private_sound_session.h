// A sound server of the test's own: D-Bus, PipeWire and WirePlumber in a directory of their own,
// with two speakers ("speakers", the default, and "headset") and, on demand, virtual microphones.
// Everything that it starts ends with it, by process id, also when the test is killed.
// Why its own: the machine's sound is none of a test's business, and servers get killed here.
// Threads: the one that made it. Errors: std::runtime_error.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

#include "unit/temporary_folder.h"

namespace quorvane::test {

// Whether the condition came true before the patience ended.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds patience = std::chrono::seconds(5));

class PrivateSoundSession {
  public:
    enum class Speakers { two, none };

    // Points this process's environment at the session, and waits until its devices are there.
    // Without speakers the session manager can be restarted; one that finds speakers which its
    // predecessor has set up does not get beyond them.
    explicit PrivateSoundSession(Speakers speakers = Speakers::two);
    ~PrivateSoundSession();
    PrivateSoundSession(const PrivateSoundSession&) = delete;
    PrivateSoundSession& operator=(const PrivateSoundSession&) = delete;

    void startServer();  // PipeWire and its session manager
    void killServer();
    void startManager();
    void killManager();
    void freezeServer();  // the process stops, its sockets stay
    void thawServer();

    // A microphone of this node.name; what is played into "NAME-feed" is heard by it.
    void startMicrophone(const std::string& name, const std::string& channels = "FL FR");
    // The microphone disappears without a word. Returns when the server has noticed; nothing
    // happens when there is none.
    void killMicrophone(const std::string& name);
    void setDefaultSpeaker(const std::string& name);
    // A program of the sound server's own, with its output; empty when it fails.
    std::string run(const std::vector<std::string>& command) const;
    bool hasNode(const std::string& name) const;

  private:
    pid_t spawn(const std::vector<std::string>& command, const std::string& log) const;
    void end(const std::string& role);  // nothing when it was ended already
    void writeConfiguration() const;

    const Speakers speakers_;
    const TemporaryFolder folder_;
    const std::string directory_ = folder_.path();
    std::map<std::string, pid_t> processes_;  // by role
};

}  // namespace quorvane::test
