// Speech recognition by PocketSphinx, with the models that are installed.
#pragma once

#include <memory>
#include <string>

#include "platform/sound_reader.h"
#include "platform/speech_recognizer.h"

namespace quorvane::platform::pocketsphinx {

// There is a recogniser for a locale with an installed model, or for another region of a language
// with one ("en-GB" is recognised by the model of "en-us"). All work is done on the device, and
// nobody is asked for a permission: there is none to give. The text is the words with a blank
// between them; the models know neither punctuation nor capitals. Destroying a task waits until
// the piece of speech in work (at most 30 s of sound) is done.
class PocketSphinxSpeechRecognizers final : public SpeechRecognizers {
  public:
    // The readers outlive every task. The folder holds the models; the default is the library's.
    explicit PocketSphinxSpeechRecognizers(SoundReaders& soundReaders);
    PocketSphinxSpeechRecognizers(SoundReaders& soundReaders, std::string modelsFolder);

    std::shared_ptr<SpeechRecognizer> makeSpeechRecognizer(
        const std::string& localeIdentifier) override;
    void requestAuthorization(AuthorizationHandler handler) override;

  private:
    SoundReaders& soundReaders_;
    const std::string modelsFolder_;
};

}  // namespace quorvane::platform::pocketsphinx
