// Bytes as readable text and back, for the tests.
#pragma once

#include <cctype>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "isobmff/box_writer.h"

namespace quorvane::isobmff {

// Two digits a byte, without blanks.
inline std::string hex(std::span<const std::byte> data) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : data) {
        text += digits[std::to_integer<std::size_t>(byte >> 4)];
        text += digits[std::to_integer<std::size_t>(byte & std::byte{15})];
    }
    return text;
}

// Digits in pairs; 'abcd' stands for those characters; blanks are skipped.
inline Bytes bytesOf(std::string_view text) {
    Bytes bytes;
    const auto digit = [](char character) {
        return static_cast<unsigned>(character <= '9' ? character - '0' : character - 'a' + 10);
    };
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '\'') {
            for (++at; text[at] != '\''; ++at)
                bytes.push_back(static_cast<std::byte>(text[at]));
            ++at;
        } else if (text[at] == ' ') {
            ++at;
        } else {
            bytes.push_back(static_cast<std::byte>(digit(text[at]) * 16 + digit(text[at + 1])));
            at += 2;
        }
    }
    return bytes;
}

// What the same text looks like as hex() writes it.
inline std::string asHex(std::string_view text) {
    return hex(bytesOf(text));
}

}  // namespace quorvane::isobmff
