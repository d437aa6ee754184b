#include "isobmff/sequence_parameter_set.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quorvane::isobmff {
namespace {

// Reads and overwrites bits; reading beyond the end gives zeros and is remembered.
class Bits {
  public:
    explicit Bits(Bytes& bytes) : bytes_(bytes) {}

    bool overrun() const { return overrun_; }
    std::uint32_t bits(int count) {
        std::uint32_t value = 0;
        for (int index = 0; index < count; ++index)
            value = value << 1U | (next() ? 1U : 0U);
        return value;
    }
    bool flag() { return bits(1) != 0; }
    void skip(int count) { (void)bits(count); }
    // Numbers of variable length, without and with a sign.
    std::uint32_t number() {
        int zeros = 0;
        while (!flag()) {
            if (++zeros > 31) overrun_ = true;
            if (overrun_) return 0;
        }
        return (1U << zeros) - 1 + bits(zeros);
    }
    std::int32_t signedNumber() {
        const auto code = number();
        const auto half = static_cast<std::int32_t>((code + 1) / 2);
        return code % 2 == 1 ? half : -half;
    }
    void overwrite(std::uint32_t value, int count) {
        for (int shift = count - 1; shift >= 0; --shift) {
            const auto at = position_ / 8;
            const auto mask = std::byte{0x80} >> (position_ % 8);
            next();
            if (overrun_) return;
            bytes_[at] = (value >> shift & 1U) != 0 ? bytes_[at] | mask : bytes_[at] & ~mask;
        }
    }

  private:
    bool next() {
        const auto at = position_ / 8;
        if (at >= bytes_.size()) {
            overrun_ = true;
            return false;
        }
        const auto mask = std::byte{0x80} >> (position_ % 8);
        ++position_;
        return (bytes_[at] & mask) != std::byte{0};
    }

    Bytes& bytes_;
    std::size_t position_ = 0;
    bool overrun_ = false;
};

// In a NAL unit a 3 keeps two zeros and a small byte apart, so that no start code appears.
Bytes withoutEscapes(NalUnit unit) {
    Bytes bytes;
    int zeros = 0;
    for (const auto byte : unit) {
        if (zeros >= 2 && byte == std::byte{3}) {
            zeros = 0;
            continue;
        }
        zeros = byte == std::byte{0} ? zeros + 1 : 0;
        bytes.push_back(byte);
    }
    return bytes;
}

Bytes withEscapes(const Bytes& raw) {
    Bytes bytes;
    int zeros = 0;
    for (const auto byte : raw) {
        if (zeros >= 2 && byte <= std::byte{3}) {
            bytes.push_back(std::byte{3});
            zeros = 0;
        }
        zeros = byte == std::byte{0} ? zeros + 1 : 0;
        bytes.push_back(byte);
    }
    return bytes;
}

bool hasChromaFormat(std::uint32_t profile) {
    constexpr std::array<std::uint32_t, 13> profiles{100, 110, 122, 244, 44,  83, 86,
                                                     118, 128, 138, 139, 134, 135};
    return std::ranges::find(profiles, profile) != profiles.end();
}

void skipScalingList(Bits& bits, int size) {
    int last = 8;
    int next = 8;
    for (int index = 0; index < size && next != 0; ++index) {
        next = (last + bits.signedNumber() + 256) % 256;
        if (next != 0) last = next;
    }
}

void skipChromaFormat(Bits& bits) {
    constexpr std::uint32_t separatePlanesPossible = 3;
    const auto format = bits.number();
    if (format == separatePlanesPossible) bits.skip(1);
    (void)bits.number();  // bits of luma
    (void)bits.number();  // and of chroma
    bits.skip(1);
    if (!bits.flag()) return;
    const int lists = format == separatePlanesPossible ? 12 : 8;
    for (int list = 0; list < lists; ++list) {
        if (bits.flag()) skipScalingList(bits, list < 6 ? 16 : 64);
    }
}

void skipPictureOrder(Bits& bits) {
    const auto type = bits.number();
    if (type == 0) (void)bits.number();
    if (type != 1) return;
    bits.skip(1);
    (void)bits.signedNumber();
    (void)bits.signedNumber();
    for (auto cycle = bits.number(); cycle > 0 && !bits.overrun(); --cycle)
        (void)bits.signedNumber();
}

// Comes to the usability information; false when there is none.
bool skipToUsability(Bits& bits) {
    bits.skip(8);  // the NAL unit's header
    const auto profile = bits.bits(8);
    bits.skip(16);        // constraints and level
    (void)bits.number();  // the set's own number
    if (hasChromaFormat(profile)) skipChromaFormat(bits);
    (void)bits.number();  // how far frames are counted
    skipPictureOrder(bits);
    (void)bits.number();  // reference frames
    bits.skip(1);
    (void)bits.number();  // width and
    (void)bits.number();  // height, in macroblocks
    if (!bits.flag()) bits.skip(1);
    bits.skip(1);
    if (bits.flag()) {
        for (int side = 0; side < 4; ++side)
            (void)bits.number();  // cropping
    }
    return bits.flag();
}

// Comes to the timing; false when there is none.
bool skipToTiming(Bits& bits) {
    constexpr std::uint32_t ownAspect = 255;
    if (bits.flag() && bits.bits(8) == ownAspect) bits.skip(32);
    if (bits.flag()) bits.skip(1);  // overscan
    if (bits.flag()) {
        bits.skip(4);                    // format and range
        if (bits.flag()) bits.skip(24);  // colours
    }
    if (bits.flag()) {
        (void)bits.number();  // where chroma is sited, in both fields
        (void)bits.number();
    }
    return bits.flag();
}

}  // namespace

Bytes withVariableFrameRate(NalUnit sequenceParameterSet, std::uint32_t ticksPerSecond) {
    auto raw = withoutEscapes(sequenceParameterSet);
    Bits bits(raw);
    if (skipToUsability(bits) && skipToTiming(bits)) {
        bits.overwrite(1, 32);
        bits.overwrite(2 * ticksPerSecond, 32);  // fields are counted, two a picture
        bits.overwrite(0, 1);
    }
    if (bits.overrun()) return {};
    return withEscapes(raw);
}

}  // namespace quorvane::isobmff
