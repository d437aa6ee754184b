// A folder of its own for a test, gone with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace quorvane {

class TemporaryFolder {
  public:
    // Below the system's folder for such, or another.
    explicit TemporaryFolder(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        auto name = (parent / "quorvane-test-").string() + std::string(6, 'X');
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("No temporary folder.");
        path_ = name;
    }
    ~TemporaryFolder() {
        // What a test has locked is unlocked first.
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

}  // namespace quorvane
