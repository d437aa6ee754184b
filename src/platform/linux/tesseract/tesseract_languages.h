// Locale identifiers in Tesseract's terms.
// Threads: pure, any. Errors: none; what is no language is left out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvane::platform::tesseract {

// The name of the language's data: "deu" for "de-DE" and "de_DE.UTF-8", "chi_tra" for "zh-Hant" and
// "zh-TW". Empty when the identifier names no language. The name is plain letters and underscores,
// whatever the identifier is: it becomes part of a path.
std::string tesseractLanguage(std::string_view localeIdentifier);

// Of several, in their order, each once, with "+" between them: "deu+eng".
std::string tesseractLanguages(const std::vector<std::string>& localeIdentifiers);

}  // namespace quorvane::platform::tesseract
