#include "platform/linux/pocketsphinx/speech_decoder.h"

#include <algorithm>
#include <string>

#include <pocketsphinx.h>
#include <sphinxbase/err.h>

#include "platform/linux/pocketsphinx/noise_floor.h"
#include "platform/platform_error.h"

namespace quorvane::platform::pocketsphinx {
namespace {

constexpr double frameSeconds = 0.01;
constexpr double windowSeconds = 0.025625;
// A frame stands for the 10 ms in the middle of the window that begins with it.
constexpr double frameOffset = (windowSeconds - frameSeconds) / 2;

// Standard error is the parent's to read.
void dropMessage(void*, err_lvl_t, const char*, ...) {}

PlatformError failure(const std::string& doing) {
    return {"PocketSphinx", -1, "Could not " + doing + "."};
}

void check(int result, const char* doing) {
    if (result < 0) throw failure(doing);
}

struct Release {
    void operator()(cmd_ln_t* configuration) const noexcept { cmd_ln_free_r(configuration); }
    void operator()(ps_decoder_t* decoder) const noexcept { ps_free(decoder); }
};

std::unique_ptr<cmd_ln_t, Release> configure(const SpeechModel& model) {
    std::unique_ptr<cmd_ln_t, Release> configuration(cmd_ln_init(
        nullptr, ps_args(), TRUE, "-hmm", model.acousticModel.c_str(), "-lm",
        model.languageModel.c_str(), "-dict", model.dictionary.c_str(),
        // What it leaves out it leaves out of the time, too.
        "-remove_silence", "no",
        // Measured: fewer errors without it on clean, synthetic and noisy speech.
        "-remove_noise", "no",
        // Bounds the work on sound that is like no word; six times as many make no word better.
        "-maxhmmpf", "5000", nullptr));
    if (!configuration) throw failure("set up the speech recogniser");
    return configuration;
}

}  // namespace

struct SpeechDecoder::Library {
    explicit Library(const SpeechModel& model)
        : configuration(configure(model)), decoder(ps_init(configuration.get())) {
        if (!decoder) throw failure("load the speech model " + model.acousticModel);
    }
    std::unique_ptr<cmd_ln_t, Release> configuration;
    std::unique_ptr<ps_decoder_t, Release> decoder;
};

SpeechDecoder::SpeechDecoder(const SpeechModel& model) {
    err_set_callback(dropMessage, nullptr);
    err_set_logfp(nullptr);  // the table of settings goes there, past the callback; for this thread
    library_ = std::make_unique<Library>(model);
}

SpeechDecoder::~SpeechDecoder() = default;

std::vector<RecognizedWord> SpeechDecoder::decode(std::span<std::int16_t> samples) {
    auto* const decoder = library_->decoder.get();
    addNoiseFloor(samples);
    check(ps_start_utt(decoder), "begin to recognise speech");
    check(ps_process_raw(decoder, samples.data(), samples.size(), FALSE, TRUE), "recognise speech");
    check(ps_end_utt(decoder), "recognise speech");

    std::vector<RecognizedWord> words;
    // The best path is made by asking for it; without it there are no posterior probabilities.
    int32 score = 0;
    if (ps_get_hyp(decoder, &score) == nullptr) return words;
    auto* const logarithms = ps_get_logmath(decoder);
    for (auto* segment = ps_seg_iter(decoder); segment != nullptr; segment = ps_seg_next(segment)) {
        const std::string entry = ps_seg_word(segment);
        if (isFiller(entry)) continue;
        int first = 0;
        int last = 0;
        ps_seg_frames(segment, &first, &last);
        int32 acoustic = 0;
        int32 language = 0;
        int32 backoff = 0;
        const auto posterior = ps_seg_prob(segment, &acoustic, &language, &backoff);
        words.push_back({.text = std::string(withoutPronunciationMark(entry)),
                         .start = first * frameSeconds + frameOffset,
                         .duration = (last + 1 - first) * frameSeconds,
                         .confidence = std::clamp(logmath_exp(logarithms, posterior), 0.0, 1.0)});
    }
    return words;
}

}  // namespace quorvane::platform::pocketsphinx
