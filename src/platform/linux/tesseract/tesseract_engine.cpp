#include "platform/linux/tesseract/tesseract_engine.h"

#include <algorithm>
#include <vector>

#include <dlfcn.h>
#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include "platform/platform_error.h"

namespace quorvane::platform::tesseract {
namespace {

namespace engine = ::tesseract;

// Small text enlarged by three is as if scanned at this resolution; lines are cut out already, so
// nothing but the engine's own plausibility checks looks at it.
constexpr int pixelsPerInch = 300;

std::string takeText(char* text) {
    const std::unique_ptr<char[]> owned(text);
    return text != nullptr ? text : "";
}

std::string trimmed(const std::string& text) {
    const char* const blanks = " \t\r\n\f\v";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

void set(engine::TessBaseAPI& api, const char* name, const char* value) {
    if (!api.SetVariable(name, value))
        throw PlatformError("Tesseract", 2,
                            std::string("The text recogniser knows no setting ") + name + ".");
}

}  // namespace

struct TesseractEngine::Handle {
    engine::TessBaseAPI api;
};

TesseractEngine::TesseractEngine(const std::string& languages, bool usesLanguageCorrection)
    : handle_(std::make_unique<Handle>()) {
    auto& api = handle_->api;
    // The engine has much to say of languages that are not there.
    set(api, "debug_file", "/dev/null");
    const std::string correction = usesLanguageCorrection ? "1" : "0";
    const std::vector<std::string> names{"load_system_dawg", "load_freq_dawg"};
    const std::vector<std::string> values{correction, correction};
    // No name at all would mean the engine's own default.
    if (languages.empty() || api.Init(nullptr, languages.c_str(), engine::OEM_LSTM_ONLY, nullptr, 0,
                                      &names, &values, false) != 0) {
        throw PlatformError("Tesseract", 1,
                            "None of the languages is installed for text recognition.");
    }
    api.SetPageSegMode(engine::PSM_SINGLE_LINE);
    // Lines are dark on white already, so a doubtful line need not be read inverted again.
    set(api, "tessedit_do_invert", "0");
}

TesseractEngine::~TesseractEngine() = default;

ReadText TesseractEngine::readLine(const GreyImage& picture) {
    auto& api = handle_->api;
    api.SetImage(picture.pixels.data(), picture.width, picture.height, 1, picture.width);
    api.SetSourceResolution(pixelsPerInch);
    if (api.Recognize(nullptr) != 0)
        throw PlatformError("Tesseract", 3, "The text could not be recognised.");
    ReadText read;
    const std::unique_ptr<engine::ResultIterator> words(api.GetIterator());
    if (!words) return read;
    int count = 0;
    float sum = 0;
    do {
        const auto word = trimmed(takeText(words->GetUTF8Text(engine::RIL_WORD)));
        if (word.empty()) continue;
        if (count > 0) read.text += ' ';
        read.text += word;
        sum += words->Confidence(engine::RIL_WORD);
        ++count;
    } while (words->Next(engine::RIL_WORD));
    if (count > 0) read.confidence = std::clamp(sum / static_cast<float>(count) / 100, 0.0F, 1.0F);
    return read;
}

void keepEngineToThisThread() {
    // The engine's threads are OpenMP's. Whether it was built with OpenMP, and which, is its own
    // affair, so the setting is looked up in what is loaded.
    using SetMaxActiveLevels = void (*)(int);
    if (const auto setMaxActiveLevels =
            reinterpret_cast<SetMaxActiveLevels>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels")))
        setMaxActiveLevels(0);
}

}  // namespace quorvane::platform::tesseract
