#include "isobmff/avc_configuration.h"

#include <algorithm>
#include <cstdint>

namespace quorvane::isobmff {
namespace {

constexpr int sequenceParameterSet = 7;
constexpr int pictureParameterSet = 8;
constexpr std::size_t mostSequenceSets = 31;
constexpr std::size_t mostPictureSets = 255;
constexpr std::size_t longestSet = 0xFFFF;

std::vector<NalUnit> unitsOfType(std::span<const NalUnit> units, int type) {
    std::vector<NalUnit> result;
    for (const auto unit : units) {
        if (!unit.empty() && std::to_integer<int>(unit.front() & std::byte{0x1F}) == type)
            result.push_back(unit);
    }
    return result;
}

void writeSets(BoxWriter& writer, std::span<const NalUnit> sets) {
    for (const auto set : sets) {
        writer.u16(static_cast<std::uint16_t>(set.size()));
        writer.bytes(set);
    }
}

}  // namespace

std::vector<NalUnit> splitAtLengths(std::span<const std::byte> stream) {
    std::vector<NalUnit> units;
    while (stream.size() >= 4) {
        std::size_t length = 0;
        for (const auto byte : stream.first(4))
            length = length << 8U | std::to_integer<std::size_t>(byte);
        stream = stream.subspan(4);
        if (length > stream.size()) return {};
        units.push_back(stream.first(length));
        stream = stream.subspan(length);
    }
    return units;
}

Bytes avcConfiguration(std::span<const NalUnit> units) {
    const auto sequenceSets = unitsOfType(units, sequenceParameterSet);
    const auto pictureSets = unitsOfType(units, pictureParameterSet);
    const auto tooLong = [](NalUnit set) { return set.size() > longestSet; };
    if (sequenceSets.empty() || sequenceSets.size() > mostSequenceSets ||
        sequenceSets.front().size() < 4 || pictureSets.empty() ||
        pictureSets.size() > mostPictureSets || std::ranges::any_of(units, tooLong))
        return {};

    const auto first = sequenceSets.front();
    BoxWriter writer;
    writer.u8(1);                       // version
    writer.bytes(first.subspan(1, 3));  // profile, compatibility, level
    writer.u8(0xFC | 3);                // lengths have 4 bytes
    writer.u8(static_cast<std::uint8_t>(0xE0U | sequenceSets.size()));
    writeSets(writer, sequenceSets);
    writer.u8(static_cast<std::uint8_t>(pictureSets.size()));
    writeSets(writer, pictureSets);
    const auto profile = std::to_integer<int>(first[1]);
    if (profile == 100 || profile == 110 || profile == 122 || profile == 144) {
        writer.u8(0xFC | 1);  // 4:2:0
        writer.u8(0xF8 | 0);  // 8 bits of luma
        writer.u8(0xF8 | 0);  // 8 bits of chroma
        writer.u8(0);         // no extensions of sequence parameter sets
    }
    return writer.take();
}

}  // namespace quorvane::isobmff
