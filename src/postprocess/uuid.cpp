#include "postprocess/uuid.h"

#include <array>

#include <fmt/format.h>

namespace quorvane::postprocess {

std::string makeUuid(platform::RandomSource& random) {
    std::array<std::byte, 16> bytes{};
    random.fill(bytes);
    // Six bits are given: the version, 4, and the variant, binary 10.
    bytes[6] = (bytes[6] & std::byte{0x0F}) | std::byte{0x40};
    bytes[8] = (bytes[8] & std::byte{0x3F}) | std::byte{0x80};
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
        text += fmt::format("{:02X}", std::to_integer<unsigned>(bytes[index]));
    }
    return text;
}

}  // namespace quorvane::postprocess
