// Numbers for displays that RandR knows by name.
// Why hashes: the parent hands an identifier from one run of the program to the next, and RandR's
// own numbers change with every server.
// Threads: pure. Errors: none.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quorvane::platform::x11 {

// The 32-bit FNV-1a hash of each name. 0 means no display, and no two displays share a number: the
// one whose name comes later in byte order moves on to the next free number.
std::vector<std::uint32_t> displayIDsOf(std::span<const std::string> names);

}  // namespace quorvane::platform::x11
