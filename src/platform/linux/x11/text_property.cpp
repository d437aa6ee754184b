#include "platform/linux/x11/text_property.h"

#include "platform/linux/x11/compound_text.h"
#include "support/text.h"

namespace quorvane::platform::x11 {
namespace {

std::string utf8FromLatin1(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto scalar = static_cast<unsigned char>(byte);
        if (scalar < 0x80) {
            text += byte;
        } else {
            text += static_cast<char>(0xC0U | scalar >> 6U);
            text += static_cast<char>(0x80U | (scalar & 0x3FU));
        }
    }
    return text;
}

}  // namespace

std::string textFrom(TextEncoding encoding, std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    switch (encoding) {
        case TextEncoding::latin1:
            return utf8FromLatin1(bytes);
        case TextEncoding::compound:
            return utf8FromCompoundText(bytes);
        case TextEncoding::utf8:
            return support::validUtf8(bytes);
        case TextEncoding::other:
            break;
    }
    auto text = support::validUtf8(bytes);
    return text == bytes ? text : utf8FromLatin1(bytes);
}

}  // namespace quorvane::platform::x11
