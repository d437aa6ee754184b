#include "platform/linux/pocketsphinx/speech_cutter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quorvane::platform::pocketsphinx {
namespace {

constexpr std::size_t frameSamples = speechSampleRate / 100;

// In frames of 10 ms.
constexpr std::size_t margin = 25;         // silence that a piece keeps at either end
constexpr std::size_t pause = 50;          // ends a piece that is long enough
constexpr std::size_t longEnough = 1000;   // for the normalisation to be good
constexpr std::size_t longPause = 300;     // ends any piece
constexpr std::size_t longest = 3000;      // a piece is cut there at the latest
constexpr std::size_t earliestCut = 1500;  // when it must be cut without a pause
constexpr std::size_t gapSearched = 20;    // the length of the quietest place
constexpr std::size_t leastLoud = 3;       // less is a click, not speech

static_assert(2 * margin <= pause, "what ends one piece does not begin the next");

// In dB of full scale. Between the loudest vowels and the weakest consonants of a voice lie about
// 30 dB, so what is 40 dB below the peak is a pause.
constexpr float silence = -100;
constexpr float pauseBelowPeak = -40;
constexpr float leastThreshold = -65;
constexpr float leastPeak = -55;
constexpr float peakFall = 0.01F;  // in a frame

float level(std::span<const std::int16_t> frame) {
    double sum = 0;
    double squares = 0;
    for (const auto sample : frame) {
        sum += sample;
        squares += static_cast<double>(sample) * sample;
    }
    const auto count = static_cast<double>(frame.size());
    // A constant offset is not heard.
    const double power = (squares - sum * sum / count) / count / (32768.0 * 32768.0);
    return power > 1e-10 ? static_cast<float>(10 * std::log10(power)) : silence;
}

}  // namespace

SpeechCutter::SpeechCutter(Sink sink) : sink_(std::move(sink)), peakLevel_(leastPeak) {
    partFrame_.reserve(frameSamples);
    samples_.reserve((longest + 1) * frameSamples);
    levels_.reserve(longest + 1);
}

void SpeechCutter::append(std::span<const std::int16_t> samples) {
    while (!samples.empty()) {
        const auto count = std::min(samples.size(), frameSamples - partFrame_.size());
        partFrame_.insert(partFrame_.end(), samples.begin(),
                          samples.begin() + static_cast<std::ptrdiff_t>(count));
        samples = samples.subspan(count);
        if (partFrame_.size() < frameSamples) return;
        appendFrame(partFrame_);
        partFrame_.clear();
    }
}

void SpeechCutter::finish() {
    if (!partFrame_.empty()) {
        partFrame_.resize(frameSamples, 0);
        appendFrame(partFrame_);
        partFrame_.clear();
    }
    endPiece();
}

void SpeechCutter::appendFrame(std::span<const std::int16_t> frame) {
    const float loudness = level(frame);
    peakLevel_ = std::max({peakLevel_ - peakFall, loudness, leastPeak});
    samples_.insert(samples_.end(), frame.begin(), frame.end());
    levels_.push_back(loudness);
    if (loudness >= std::max(peakLevel_ + pauseBelowPeak, leastThreshold)) {
        ++loudFrames_;
        quietFrames_ = 0;
    } else {
        ++quietFrames_;
    }
    if (loudFrames_ == 0) {
        if (levels_.size() > margin) removeFront(levels_.size() - margin);
    } else if (quietFrames_ >= longPause ||
               (quietFrames_ >= pause && levels_.size() >= longEnough)) {
        endPiece();
    } else if (levels_.size() >= longest) {
        cutAtQuietestPlace();
    }
}

void SpeechCutter::endPiece() {
    if (loudFrames_ >= leastLoud)
        give(levels_.size() - quietFrames_ + std::min(quietFrames_, margin));
    // The next piece begins with the end of this pause.
    if (levels_.size() > margin) removeFront(levels_.size() - margin);
    loudFrames_ = 0;
    quietFrames_ = levels_.size();
}

void SpeechCutter::cutAtQuietestPlace() {
    float sum = 0;
    for (std::size_t at = earliestCut - gapSearched; at < earliestCut; ++at)
        sum += levels_[at];
    float least = sum;
    std::size_t cut = earliestCut - gapSearched / 2;
    for (std::size_t end = earliestCut; end < levels_.size(); ++end) {
        sum += levels_[end] - levels_[end - gapSearched];
        if (sum < least) {
            least = sum;
            cut = end + 1 - gapSearched / 2;
        }
    }
    give(cut);
    removeFront(cut);
    quietFrames_ = std::min(quietFrames_, levels_.size());
    // The rest goes on with what was heard of it, however little that is.
    loudFrames_ = std::max<std::size_t>(levels_.size() - quietFrames_, 1);
}

void SpeechCutter::give(std::size_t frames) {
    sink_(std::span(samples_).first(frames * frameSamples), firstSample_);
}

void SpeechCutter::removeFront(std::size_t frames) {
    samples_.erase(samples_.begin(),
                   samples_.begin() + static_cast<std::ptrdiff_t>(frames * frameSamples));
    levels_.erase(levels_.begin(), levels_.begin() + static_cast<std::ptrdiff_t>(frames));
    firstSample_ += static_cast<std::int64_t>(frames * frameSamples);
}

}  // namespace quorvane::platform::pocketsphinx
