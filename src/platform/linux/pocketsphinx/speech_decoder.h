// PocketSphinx, one piece of speech at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/linux/pocketsphinx/recognized_word.h"
#include "platform/linux/pocketsphinx/speech_model.h"

namespace quorvane::platform::pocketsphinx {

// Threads: the one that made it. Errors: PlatformError, domain "PocketSphinx"; its code is the
// library's answer, which is always -1.
class SpeechDecoder {
  public:
    // Loads the model, about a third of a second and 90 MiB.
    explicit SpeechDecoder(const SpeechModel& model);
    ~SpeechDecoder();
    SpeechDecoder(const SpeechDecoder&) = delete;
    SpeechDecoder& operator=(const SpeechDecoder&) = delete;

    // The words of a piece of 16 kHz sound, in the order of time, without fillers. The samples are
    // changed.
    std::vector<RecognizedWord> decode(std::span<std::int16_t> samples);

  private:
    struct Library;
    std::unique_ptr<Library> library_;
};

}  // namespace quorvane::platform::pocketsphinx
