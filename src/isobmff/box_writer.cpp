#include "isobmff/box_writer.h"

#include <algorithm>
#include <cassert>

namespace quorvane::isobmff {
namespace {

void storeBig(std::span<std::byte> place, std::uint64_t value) {
    for (auto at = place.rbegin(); at != place.rend(); ++at, value >>= 8U)
        *at = static_cast<std::byte>(value);
}

}  // namespace

BoxWriter::Box::~Box() {
    writer_.replaceU32(begin_, static_cast<std::uint32_t>(writer_.size() - begin_));
}

BoxWriter::Box BoxWriter::box(std::string_view type) {
    assert(type.size() == 4);
    const auto begin = size();
    u32(0);
    text(type);
    return Box(*this, begin);
}

BoxWriter::Box BoxWriter::fullBox(std::string_view type, std::uint8_t version,
                                  std::uint32_t flags) {
    assert(type.size() == 4);
    const auto begin = size();
    u32(0);
    text(type);
    u8(version);
    u24(flags);
    return Box(*this, begin);
}

void BoxWriter::text(std::string_view characters) {
    bytes(std::as_bytes(std::span(characters)));
}

void BoxWriter::bytes(std::span<const std::byte> data) {
    const auto begin = size();
    zeros(data.size());
    std::ranges::copy(data, bytes_.begin() + static_cast<std::ptrdiff_t>(begin));
}

void BoxWriter::replaceU32(std::size_t position, std::uint32_t value) {
    assert(position + 4 <= bytes_.size());
    storeBig(std::span(bytes_).subspan(position, 4), value);
}

std::array<std::byte, 8> boxHeader(std::uint32_t size, std::string_view type) {
    assert(type.size() == 4);
    std::array<std::byte, 8> header;
    storeBig(std::span(header).first<4>(), size);
    std::ranges::copy(std::as_bytes(std::span(type)), header.begin() + 4);
    return header;
}

std::array<std::byte, 16> largeBoxHeader(std::uint64_t size, std::string_view type) {
    std::array<std::byte, 16> header;
    constexpr std::uint32_t sizeFollows = 1;
    std::ranges::copy(boxHeader(sizeFollows, type), header.begin());
    storeBig(std::span(header).last<8>(), size);
    return header;
}

}  // namespace quorvane::isobmff
