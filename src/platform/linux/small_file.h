// Reading small files that other programs wrote.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace quorvane::platform {

// The file's first bytes, at most so many; nothing when it is no ordinary file or cannot be read.
// Threads: any.
std::optional<std::string> readSmallFile(const std::string& path,
                                         std::size_t most = std::size_t{64} << 10);

}  // namespace quorvane::platform
