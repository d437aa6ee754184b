#include "platform/linux/x11/compound_text.h"

#include <array>
#include <cstdint>

#include <iconv.h>

#include "support/text.h"

namespace quorvane::platform::x11 {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr char escape = '\x1B';

// A character set that an escape sequence puts into one half of the bytes.
struct CharacterSet {
    std::string_view sequence;  // without the escape
    bool upper;                 // the bytes from 0x80 on
    const char* encoding;       // iconv's name; null when it is not understood
    bool highBits;              // whether that encoding has these characters at 0xA0 and above
};

constexpr std::array characterSets{
    CharacterSet{"(B", false, "ISO-8859-1", false},
    CharacterSet{"(J", false, "SHIFT_JIS", false},
    CharacterSet{")I", true, "SHIFT_JIS", true},
    CharacterSet{"-A", true, "ISO-8859-1", true},
    CharacterSet{"-B", true, "ISO-8859-2", true},
    CharacterSet{"-C", true, "ISO-8859-3", true},
    CharacterSet{"-D", true, "ISO-8859-4", true},
    CharacterSet{"-F", true, "ISO-8859-7", true},
    CharacterSet{"-G", true, "ISO-8859-6", true},
    CharacterSet{"-H", true, "ISO-8859-8", true},
    CharacterSet{"-L", true, "ISO-8859-5", true},
    CharacterSet{"-M", true, "ISO-8859-9", true},
    CharacterSet{"-V", true, "ISO-8859-10", true},
    CharacterSet{"-Y", true, "ISO-8859-13", true},
    CharacterSet{"-_", true, "ISO-8859-14", true},
    CharacterSet{"-b", true, "ISO-8859-15", true},
    CharacterSet{"-f", true, "ISO-8859-16", true},
    CharacterSet{"$(A", false, "GB2312", true},
    CharacterSet{"$)A", true, "GB2312", true},
    CharacterSet{"$(B", false, "EUC-JP", true},
    CharacterSet{"$)B", true, "EUC-JP", true},
    CharacterSet{"$(C", false, "EUC-KR", true},
    CharacterSet{"$)C", true, "EUC-KR", true},
    // As ISO 2022 wrote them before it had several halves.
    CharacterSet{"$A", false, "GB2312", true},
    CharacterSet{"$B", false, "EUC-JP", true},
};

std::string converted(const char* encoding, std::string_view bytes) {
    if (encoding == nullptr) return std::string(replacement);
    const iconv_t converter = iconv_open("UTF-8", encoding);
    if (reinterpret_cast<std::intptr_t>(converter) == -1) return std::string(replacement);
    std::string input(bytes);
    std::string output(input.size() * 4 + 4, '\0');
    char* from = input.data();
    char* into = output.data();
    std::size_t left = input.size();
    std::size_t room = output.size();
    const bool failed =
        iconv(converter, &from, &left, &into, &room) == static_cast<std::size_t>(-1);
    output.resize(output.size() - room);
    iconv_close(converter);
    return failed ? output + std::string(replacement) : output;
}

class Decoder {
  public:
    explicit Decoder(std::string_view text) : rest_(text) {}

    std::string decode() {
        while (!rest_.empty()) {
            if (rest_.front() == escape) {
                takeEscape();
            } else {
                takeRun();
            }
        }
        return std::move(result_);
    }

  private:
    static bool isUpper(char byte) { return (static_cast<unsigned char>(byte) & 0x80U) != 0; }
    static bool isControl(char byte) { return (static_cast<unsigned char>(byte) & 0x60U) == 0; }

    std::string_view take(std::size_t count) {
        const auto taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    // The bytes up to the next escape that belong to the same half.
    void takeRun() {
        const bool upper = isUpper(rest_.front());
        std::size_t length = 1;
        while (length < rest_.size() && rest_[length] != escape && isUpper(rest_[length]) == upper)
            ++length;
        const auto run = take(length);
        const CharacterSet& set = upper ? *upper_ : *lower_;
        if (!set.highBits && !upper) {
            result_ += converted(set.encoding, run);
            return;
        }
        // Line feeds and the like, and the blank, stay what they are in every set.
        std::string bytes;
        for (const char byte : run) {
            const bool stays = !upper && (isControl(byte) || byte == ' ');
            bytes += stays ? byte : static_cast<char>(static_cast<unsigned char>(byte) | 0x80U);
        }
        result_ += converted(set.encoding, bytes);
    }

    void takeEscape() {
        const auto sequence = rest_.substr(1);
        if (sequence.starts_with("%G")) return takeUtf8();
        if (sequence.starts_with("%/")) return takeExtended();
        for (const CharacterSet& set : characterSets) {
            if (!sequence.starts_with(set.sequence)) continue;
            (set.upper ? upper_ : lower_) = &set;
            take(1 + set.sequence.size());
            return;
        }
        // ISO 2022: intermediate bytes up to 0x2F, then one that ends the sequence.
        take(1);
        while (!rest_.empty() && rest_.front() >= 0x20 && rest_.front() <= 0x2F)
            take(1);
        take(1);
    }

    void takeUtf8() {
        take(3);
        const auto end = rest_.find("\x1B%@");
        result_ += support::validUtf8(take(end));
        take(3);
    }

    // ESC % / and a letter, two bytes of length, the encoding's name, 0x02, the text.
    void takeExtended() {
        const auto header = take(6);
        if (header.size() < 6) return;
        const auto low = [](char byte) { return static_cast<unsigned char>(byte) & 0x7FU; };
        const auto segment = take(low(header[4]) * 128 + low(header[5]));
        const auto end = segment.find('\x02');
        if (end == std::string_view::npos) return;
        result_ += converted(std::string(segment.substr(0, end)).c_str(), segment.substr(end + 1));
    }

    std::string_view rest_;
    std::string result_;
    const CharacterSet* lower_ = &characterSets[0];
    const CharacterSet* upper_ = &characterSets[3];
};

}  // namespace

std::string utf8FromCompoundText(std::string_view text) {
    return Decoder(text).decode();
}

}  // namespace quorvane::platform::x11
