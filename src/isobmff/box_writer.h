// Writes the boxes of an ISO base media file (ISO/IEC 14496-12) into memory: big-endian numbers,
// and boxes whose size is filled in when they end.
// Units: bytes. Threads: a value, one thread at a time. Errors: none but lack of memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace quorvane::isobmff {

using Bytes = std::vector<std::byte>;

class BoxWriter {
  public:
    // A box from its construction to its destruction; the boxes written meanwhile lie within it.
    class Box {
      public:
        explicit Box(BoxWriter& writer, std::size_t begin) : writer_(writer), begin_(begin) {}
        ~Box();
        Box(const Box&) = delete;
        Box& operator=(const Box&) = delete;

      private:
        BoxWriter& writer_;
        std::size_t begin_;
    };

    // The type has four characters.
    [[nodiscard]] Box box(std::string_view type);
    [[nodiscard]] Box fullBox(std::string_view type, std::uint8_t version, std::uint32_t flags);

    void u8(std::uint8_t value) { bytes_.push_back(std::byte{value}); }
    void u16(std::uint16_t value) { big<2>(value); }
    void u24(std::uint32_t value) { big<3>(value); }
    void u32(std::uint32_t value) { big<4>(value); }
    void u64(std::uint64_t value) { big<8>(value); }
    void text(std::string_view characters);
    void bytes(std::span<const std::byte> data);
    void zeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }
    // Writes over what lies at that position.
    void replaceU32(std::size_t position, std::uint32_t value);

    std::size_t size() const { return bytes_.size(); }
    std::span<const std::byte> data() const { return bytes_; }
    Bytes take() { return std::move(bytes_); }
    // Keeps the memory for the next use.
    void clear() { bytes_.clear(); }

  private:
    template <int count>
    void big(std::uint64_t value) {
        zeros(count);
        for (std::size_t back = 1; back <= count; ++back, value >>= 8U)
            bytes_[bytes_.size() - back] = static_cast<std::byte>(value);
    }

    Bytes bytes_;
};

// The header of a box: its 32-bit size, of header and content together, and its type.
std::array<std::byte, 8> boxHeader(std::uint32_t size, std::string_view type);
// The same with the size in 64 bits.
std::array<std::byte, 16> largeBoxHeader(std::uint64_t size, std::string_view type);

}  // namespace quorvane::isobmff
