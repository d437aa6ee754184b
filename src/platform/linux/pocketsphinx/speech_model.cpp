#include "platform/linux/pocketsphinx/speech_model.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace quorvane::platform::pocketsphinx {
namespace {

namespace fs = std::filesystem;

// The paths in a folder in the order of their names; none when it cannot be read.
std::vector<fs::path> entries(const fs::path& folder) {
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator each(folder, error), end; !error && each != end;
         each.increment(error))
        found.push_back(each->path());
    std::sort(found.begin(), found.end());
    return found;
}

std::string_view language(std::string_view locale) {
    return locale.substr(0, locale.find('-'));
}

bool isFolder(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool endsWith(const fs::path& path, std::string_view ending) {
    return path.filename().string().ends_with(ending);
}

std::optional<SpeechModel> modelIn(const fs::path& folder) {
    SpeechModel model;
    for (const auto& path : entries(folder)) {
        std::error_code error;
        // A model of phones, for other uses, may lie beside the one of words.
        if (endsWith(path, ".lm.bin") && !endsWith(path, "-phone.lm.bin"))
            model.languageModel = path;
        else if (endsWith(path, ".dict"))
            model.dictionary = path;
        else if (isFolder(path) && fs::exists(path / "mdef", error))
            model.acousticModel = path;
    }
    if (model.acousticModel.empty() || model.languageModel.empty() || model.dictionary.empty())
        return std::nullopt;
    return model;
}

}  // namespace

std::string normalizedLocale(const std::string& localeIdentifier) {
    auto locale = localeIdentifier.substr(0, localeIdentifier.find_first_of(".@"));
    for (char& character : locale) {
        if (character == '_') character = '-';
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    }
    return locale;
}

std::optional<SpeechModel> findSpeechModel(const std::string& modelsFolder,
                                           const std::string& localeIdentifier) {
    const auto locale = normalizedLocale(localeIdentifier);
    if (language(locale).empty()) return std::nullopt;
    std::optional<SpeechModel> related;
    for (const auto& folder : entries(modelsFolder)) {
        const auto name = normalizedLocale(folder.filename());
        if (language(name) != language(locale)) continue;
        auto model = modelIn(folder);
        if (name == locale && model) return model;
        if (!related) related = std::move(model);
    }
    return related;
}

}  // namespace quorvane::platform::pocketsphinx
