// A folder for one test, and files in it.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "unit/temporary_folder.h"

namespace quorvane::platform::files {

using TestFolder = TemporaryFolder;

inline void write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace quorvane::platform::files
