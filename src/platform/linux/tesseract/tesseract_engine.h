// One instance of Tesseract, ready to read lines in its languages.
// Threads: one at a time; several engines work side by side. Errors: PlatformError of the domain
// "Tesseract".
#pragma once

#include <memory>
#include <string>

#include "platform/linux/tesseract/grey_image.h"

namespace quorvane::platform::tesseract {

struct ReadText {
    std::string text;      // empty when nothing was read
    float confidence = 0;  // the mean of its words', 0 to 1
};

class TesseractEngine {
  public:
    // Languages: Tesseract's codes with a "+" between them; those that are not installed are left
    // out. Throws when none is. Correction prefers words of the language's dictionary.
    TesseractEngine(const std::string& languages, bool usesLanguageCorrection);
    ~TesseractEngine();
    TesseractEngine(const TesseractEngine&) = delete;
    TesseractEngine& operator=(const TesseractEngine&) = delete;

    // Reads the picture of one line, dark on white.
    ReadText readLine(const GreyImage& picture);

  private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
};

// Lets Tesseract work on the calling thread alone. It would have four threads at work on every
// matrix, which is slower than one when other lines are read at the same time.
void keepEngineToThisThread();

}  // namespace quorvane::platform::tesseract
