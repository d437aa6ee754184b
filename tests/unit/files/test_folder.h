// A folder for one test, and files in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace quorvane::platform::files {

class TestFolder {
  public:
    TestFolder() {
        auto name = (std::filesystem::temp_directory_path() /
                     "files-XXXXX"
                     "X")
                        .string();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        path_ = name;
    }
    ~TestFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

inline void write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace quorvane::platform::files
