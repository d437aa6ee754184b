// Any text as a locale identifier: the language's name is harmless as part of a path.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/linux/tesseract/tesseract_languages.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto name = quorvane::platform::tesseract::tesseractLanguage(
        {reinterpret_cast<const char*>(data), size});
    const bool harmless = std::all_of(name.begin(), name.end(), [](char character) {
        return (character >= 'a' && character <= 'z') || character == '_';
    });
    if (!harmless || name.size() > 8) std::abort();
    return 0;
}
