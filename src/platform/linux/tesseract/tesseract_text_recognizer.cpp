#include "platform/linux/tesseract/tesseract_text_recognizer.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <system_error>
#include <thread>

#include "platform/linux/tesseract/large_text.h"
#include "platform/linux/tesseract/line_picture.h"
#include "platform/linux/tesseract/rules.h"
#include "platform/linux/tesseract/tesseract_engine.h"
#include "platform/linux/tesseract/tesseract_languages.h"
#include "support/background_thread.h"

namespace quorvane::platform::tesseract {
namespace {

// Each thread has an engine of its own, of some 40 MB.
constexpr unsigned mostThreads = 4;

// No screen shows as many lines; the grain of a photograph can look like more, and reading that
// would take minutes.
constexpr std::size_t mostLines = 10000;

class LineReading {
  public:
    LineReading(const GreyImage& image, const Background& background,
                const std::vector<TextLine>& lines)
        : image_(image), background_(background), lines_(lines), texts_(lines.size()) {}

    // Reads lines until there are none left; run by every thread with its own engine.
    void work(TesseractEngine& engine) {
        for (auto at = next_++; at < lines_.size(); at = next_++)
            texts_[at] = engine.readLine(linePicture(image_, background_, lines_[at]));
    }
    // The others stop at their next line.
    void giveUp() { next_ = lines_.size(); }

    const std::vector<ReadText>& texts() const { return texts_; }

  private:
    const GreyImage& image_;
    const Background& background_;
    const std::vector<TextLine>& lines_;
    std::vector<ReadText> texts_;  // of each line; written by the thread that took the line
    std::atomic<std::size_t> next_ = 0;
};

support::Rect normalised(const PixelBox& box, const GreyImage& image) {
    const double width = image.width;
    const double height = image.height;
    return {box.left / width, (height - box.bottom) / height, box.width() / width,
            box.height() / height};
}

}  // namespace

std::vector<RecognizedTextObservation> TesseractTextRecognizer::recognizeText(
    const Image& image, const TextRecognitionSettings& settings) {
    const auto languages = tesseractLanguages(settings.recognitionLanguages);
    auto grey = greyImage(image);
    auto background = estimateBackground(grey);
    revealLargeText(grey, background);
    removeRules(grey, background);
    auto lines = findTextLines(grey, background);
    lines.resize(std::min(lines.size(), mostLines));

    LineReading reading(grey, background, lines);
    const auto work = [&] {
        keepEngineToThisThread();
        TesseractEngine engine(languages, settings.usesLanguageCorrection);
        reading.work(engine);
    };
    const std::size_t threads =
        std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads);
    std::vector<std::exception_ptr> failures(std::clamp<std::size_t>(lines.size(), 1, threads));
    std::vector<std::thread> workers;
    workers.reserve(failures.size());
    for (auto& failure : failures) {
        try {
            workers.push_back(support::startBackgroundThread("text", [&work, &reading, &failure] {
                try {
                    work();
                } catch (...) {
                    failure = std::current_exception();
                    reading.giveUp();
                }
            }));
        } catch (const std::system_error&) {
            if (workers.empty()) throw;
            break;  // those that there are do the work
        }
    }
    for (auto& worker : workers)
        worker.join();
    for (const auto& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }

    std::vector<RecognizedTextObservation> observations;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        const auto& read = reading.texts()[at];
        if (read.text.empty()) continue;
        observations.push_back({{{read.text, read.confidence}}, normalised(lines[at].box, grey)});
    }
    return observations;
}

}  // namespace quorvane::platform::tesseract
