#include "recognition/text_reading_order.h"

#include <cmath>

#include "recognition/run_merging_sort.h"

namespace quorvane::recognition {
namespace {

constexpr double rowTolerance = 0.025;  // of the image's height

double centreOf(const TextRecognitionObservation& observation) {
    return observation.boundingBox.y + observation.boundingBox.height / 2;
}

bool comesBefore(const TextRecognitionObservation& first,
                 const TextRecognitionObservation& second) {
    const double firstCentre = centreOf(first);
    const double secondCentre = centreOf(second);
    if (std::abs(firstCentre - secondCentre) > rowTolerance) return firstCentre > secondCentre;
    return first.boundingBox.x < second.boundingBox.x;
}

}  // namespace

std::vector<TextRecognitionObservation> sortTextRecognitionObservations(
    std::vector<TextRecognitionObservation> observations) {
    runMergingSort(observations, comesBefore);
    return observations;
}

}  // namespace quorvane::recognition
