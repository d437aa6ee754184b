// A number as a strip of black and white cells that survives video compression and scaling.
// Why: a reader of the decoded movie can tell which drawing each of its pictures shows.
// Layout, left to right: white, black (the levels to compare with), 20 bits of the number, 8 bits
// of checksum, both from the highest bit down (1 is white), black, white.
// Threads: pure. Errors: none; a number is taken modulo 2^20.
#pragma once

#include <array>
#include <cstdint>

namespace quorvane::tools {

constexpr int numberCodeCells = 32;

// True is a white cell.
std::array<bool, numberCodeCells> numberCode(std::uint32_t number);

}  // namespace quorvane::tools
