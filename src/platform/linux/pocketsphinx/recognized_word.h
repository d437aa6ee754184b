// One entry of the decoder's segmentation, and what of it is a word.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::platform::pocketsphinx {

struct RecognizedWord {
    std::string text;
    double start = 0;       // seconds from the begin of what was decoded
    double duration = 0;    // seconds
    double confidence = 0;  // posterior probability, 0 to 1
};

// Entries that stand for no word: "<s>", "</s>", "<sil>", "[NOISE]", "[SPEECH]", "++BREATH++".
bool isFiller(std::string_view entry);

// "read" of "read(2)": the dictionary numbers a word's further pronunciations.
std::string_view withoutPronunciationMark(std::string_view entry);

}  // namespace quorvane::platform::pocketsphinx
