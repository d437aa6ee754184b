// The order in which lines of text are read.
// Threads: pure, any. Errors: none.
#pragma once

#include <vector>

#include "recognition/text_recognition_result.h"

namespace quorvane::recognition {

// Lines whose vertical centres are within 0.025 of the image's height are one row, read from left
// to right; else the higher one comes first. That is not transitive (a row may slope), so the
// procedure decides: see run_merging_sort.h.
std::vector<TextRecognitionObservation> sortTextRecognitionObservations(
    std::vector<TextRecognitionObservation> observations);

}  // namespace quorvane::recognition
