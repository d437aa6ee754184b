// A file system in memory. Paths are plain keys; a folder is listed by its paths' beginnings.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_manager.h"
#include "simulation/fault_plan.h"

namespace quorvane::simulation {

struct SimFile {
    std::string content;
    // Of a movie.
    int videoTracks = 0;
    int audioTracks = 0;

    bool operator==(const SimFile&) const = default;
};

class SimFiles final : public platform::FileManager {
  public:
    explicit SimFiles(FaultPlan& faults) : faults_(faults) {}

    void createDirectory(const std::string& path) override;
    void removeItem(const std::string& path) override;
    void copyItem(const std::string& source, const std::string& destination) override;
    void replaceItem(const std::string& original, const std::string& replacement) override;
    std::vector<std::string> contentsOfDirectory(const std::string& path) override;
    std::unique_ptr<platform::LogFile> createLogFile(const std::string& path) override;

    // Every path that contains the text.
    std::vector<std::string> pathsWith(const std::string& text) const;
    std::vector<std::string> logLines(const std::string& path) const;

    std::map<std::string, SimFile> files;
    std::vector<std::string> calls;  // "copy /a /b", without those that only look
    bool removalFailed = false;      // by an injected fault
    int openLogs = 0;
    // When set, the call of that name fails: "create", "remove", "copy", "replace", "list", "log".
    std::string failing;

  private:
    void call(const std::string& name, const std::string& arguments);

    FaultPlan& faults_;
};

}  // namespace quorvane::simulation
