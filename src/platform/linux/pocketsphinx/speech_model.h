// Which of the installed models recognises the speech of a locale.
#pragma once

#include <optional>
#include <string>

namespace quorvane::platform::pocketsphinx {

// The files of a model, by their paths.
struct SpeechModel {
    std::string acousticModel;  // a folder
    std::string languageModel;
    std::string dictionary;
};

// "en-us" of "en_US.UTF-8": lower case, with hyphens, without encoding and modifier.
std::string normalizedLocale(const std::string& localeIdentifier);

// The model in that folder, where each has a folder of its own, named by its locale ("en-us"): that
// of the locale; else the first in the order of names for another region of its language. Nothing
// when there is none, or when files of it are missing. Threads: any. Errors: none; a folder that
// cannot be read has no models.
std::optional<SpeechModel> findSpeechModel(const std::string& modelsFolder,
                                           const std::string& localeIdentifier);

}  // namespace quorvane::platform::pocketsphinx
