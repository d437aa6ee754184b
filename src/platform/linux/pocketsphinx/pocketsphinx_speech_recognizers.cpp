#include "platform/linux/pocketsphinx/pocketsphinx_speech_recognizers.h"

#include <array>
#include <atomic>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/pocketsphinx/speech_cutter.h"
#include "platform/linux/pocketsphinx/speech_decoder.h"
#include "platform/linux/pocketsphinx/speech_model.h"
#include "support/background_thread.h"

namespace quorvane::platform::pocketsphinx {
namespace {

using Cancelled = std::shared_ptr<std::atomic<bool>>;

// The recognition of one file. Threads: its own.
class Recognition {
  public:
    Recognition(SoundReaders& soundReaders, SpeechModel model, SpeechURLRecognitionRequest request,
                SpeechRecognizer::ResultHandler handler, Cancelled cancelled)
        : soundReaders_(soundReaders),
          model_(std::move(model)),
          request_(std::move(request)),
          handler_(std::move(handler)),
          cancelled_(std::move(cancelled)) {}

    void run() noexcept {
        try {
            recognize();
        } catch (...) {
            if (!*cancelled_) handler_(nullptr, std::current_exception());
            return;
        }
        if (*cancelled_) return;
        result_.isFinal = true;
        handler_(&result_, nullptr);
    }

  private:
    void recognize() {
        const auto sound = soundReaders_.openSound(request_.path, speechSampleRate);
        std::optional<SpeechDecoder> decoder;  // loaded when there is something to decode
        SpeechCutter cutter([&](std::span<const std::int16_t> piece, std::int64_t firstSample) {
            if (*cancelled_) return;
            if (!decoder) decoder.emplace(model_);
            piece_.assign(piece.begin(), piece.end());
            addWords(decoder->decode(piece_), firstSample);
        });
        std::array<std::int16_t, speechSampleRate> samples{};
        while (!*cancelled_) {
            const auto count = sound->read(samples);
            cutter.append(std::span(samples).first(count));
            if (count < samples.size()) break;
        }
        cutter.finish();
    }

    void addWords(const std::vector<RecognizedWord>& words, std::int64_t firstSample) {
        const double begin = static_cast<double>(firstSample) / speechSampleRate;
        auto& transcription = result_.bestTranscription;
        for (const auto& word : words) {
            if (!transcription.formattedString.empty()) transcription.formattedString += ' ';
            transcription.formattedString += word.text;
            transcription.segments.push_back({.substring = word.text,
                                              .timestamp = begin + word.start,
                                              .duration = word.duration,
                                              .confidence = static_cast<float>(word.confidence)});
        }
        if (request_.shouldReportPartialResults) handler_(&result_, nullptr);
    }

    SoundReaders& soundReaders_;
    const SpeechModel model_;
    const SpeechURLRecognitionRequest request_;
    const SpeechRecognizer::ResultHandler handler_;
    const Cancelled cancelled_;
    std::vector<std::int16_t> piece_;
    SpeechRecognitionResult result_;
};

class Task final : public SpeechRecognitionTask {
  public:
    Task(Cancelled cancelled, std::thread thread)
        : cancelled_(std::move(cancelled)), thread_(std::move(thread)) {}
    ~Task() override {
        *cancelled_ = true;
        // The handler may drop the last reference, on the thread itself.
        if (thread_.get_id() == std::this_thread::get_id())
            thread_.detach();
        else
            thread_.join();
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    void cancel() override { *cancelled_ = true; }

  private:
    const Cancelled cancelled_;
    std::thread thread_;
};

class PocketSphinxSpeechRecognizer final : public SpeechRecognizer {
  public:
    PocketSphinxSpeechRecognizer(SoundReaders& soundReaders, SpeechModel model)
        : soundReaders_(soundReaders), model_(std::move(model)) {}

    bool isAvailable() const override { return true; }
    bool supportsOnDeviceRecognition() const override { return true; }
    std::shared_ptr<SpeechRecognitionTask> recognitionTask(
        const SpeechURLRecognitionRequest& request, ResultHandler resultHandler) override {
        auto cancelled = std::make_shared<std::atomic<bool>>(false);
        auto recognition = std::make_unique<Recognition>(soundReaders_, model_, request,
                                                         std::move(resultHandler), cancelled);
        auto thread =
            support::startBackgroundThread("speech", [work = std::move(recognition)]() mutable {
                work->run();
                work.reset();
            });
        return std::make_shared<Task>(std::move(cancelled), std::move(thread));
    }

  private:
    SoundReaders& soundReaders_;
    const SpeechModel model_;
};

}  // namespace

PocketSphinxSpeechRecognizers::PocketSphinxSpeechRecognizers(SoundReaders& soundReaders)
    : PocketSphinxSpeechRecognizers(soundReaders, QUORVANE_POCKETSPHINX_MODELS) {}

PocketSphinxSpeechRecognizers::PocketSphinxSpeechRecognizers(SoundReaders& soundReaders,
                                                             std::string modelsFolder)
    : soundReaders_(soundReaders), modelsFolder_(std::move(modelsFolder)) {}

std::shared_ptr<SpeechRecognizer> PocketSphinxSpeechRecognizers::makeSpeechRecognizer(
    const std::string& localeIdentifier) {
    auto model = findSpeechModel(modelsFolder_, localeIdentifier);
    if (!model) return nullptr;
    return std::make_shared<PocketSphinxSpeechRecognizer>(soundReaders_, std::move(*model));
}

void PocketSphinxSpeechRecognizers::requestAuthorization(AuthorizationHandler handler) {
    handler(SpeechRecognizerAuthorizationStatus::authorized);
}

}  // namespace quorvane::platform::pocketsphinx
