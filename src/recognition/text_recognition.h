// recognize-text: the text in one image.
#pragma once

#include <string>

#include "cli/transcription_request.h"
#include "platform/image_source.h"
#include "platform/text_recognizer.h"
#include "recognition/text_recognition_result.h"

namespace quorvane::recognition {

// The first image of the file. Throws RecorderError when there is none.
platform::Image loadCGImage(const std::string& path, platform::ImageSource& images);

// Reads the text with the request's language first and US English behind it. Blocks until it is
// done. Throws RecorderError for the image, the platform's error for the recognition.
TextRecognitionResult recognizeText(const cli::TextRecognitionRequest& request,
                                    platform::ImageSource& images,
                                    platform::TextRecognizer& recognizer);

}  // namespace quorvane::recognition
