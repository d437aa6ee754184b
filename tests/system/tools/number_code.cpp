#include "number_code.h"

namespace quorvane::tools {

std::array<bool, numberCodeCells> numberCode(std::uint32_t number) {
    constexpr std::uint32_t numberBits = 20;
    constexpr std::uint32_t checksumBits = 8;
    const std::uint32_t value = number & ((1U << numberBits) - 1);
    // The high byte of a multiplicative hash: neighbouring numbers differ in many bits of it, so
    // a picture between two numbers does not read as a third.
    const std::uint32_t checksum = (value * 2654435761U) >> 24;
    const std::uint32_t payload = value << checksumBits | checksum;

    std::array<bool, numberCodeCells> cells{};
    cells.front() = true;
    cells.back() = true;
    for (std::uint32_t bit = 0; bit < numberBits + checksumBits; ++bit) {
        cells.at(2 + bit) = (payload >> (numberBits + checksumBits - 1 - bit) & 1U) != 0;
    }
    return cells;
}

}  // namespace quorvane::tools
