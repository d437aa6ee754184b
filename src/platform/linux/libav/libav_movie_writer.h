// The movie writer by FFmpeg's libraries: pictures by libx264, sound by the AAC encoder, the file
// by MovieFile. Each works on a thread of its own (sound on one for all tracks), so that append()
// never waits for any of them.
// Why not libavformat: its writer cannot turn a fragmented movie into an indexed one without
// writing it all again.
#pragma once

#include <memory>
#include <string>

#include "platform/linux/libav/movie_file.h"
#include "platform/movie_writer.h"
#include "support/dispatch.h"

namespace quorvane::platform::libav {

class LibavMovieWriter final : public MovieWriter {
  public:
    // The clock outlives the writer.
    LibavMovieWriter(std::string path, const support::Clock& clock,
                     const MovieFileOptions& options = {});
    // A movie that is being written ends now and is finished. Waits for that, but not for long: a
    // disk that does not answer must not keep the process alive.
    ~LibavMovieWriter() override;
    LibavMovieWriter(const LibavMovieWriter&) = delete;
    LibavMovieWriter& operator=(const LibavMovieWriter&) = delete;

    MovieWriterStatus status() const override;
    std::exception_ptr error() const override;
    void setShouldOptimizeForNetworkUse(bool optimize) override;
    MovieWriterInput* addVideoInput(const VideoInputSettings& settings) override;
    MovieWriterInput* addAudioInput(const AudioInputSettings& settings) override;
    bool startWriting() override;
    void startSession(support::MediaTime sourceTime) override;
    void finishWriting(std::function<void()> completion) override;
    void cancelWriting() override;

  private:
    class Core;
    // The threads hold it, too.
    std::shared_ptr<Core> core_;
};

class LibavMovieWriterFactory final : public MovieWriterFactory {
  public:
    // The clock outlives every writer.
    explicit LibavMovieWriterFactory(const support::Clock& clock) : clock_(clock) {}
    std::shared_ptr<MovieWriter> makeMovieWriter(const std::string& path) override;

  private:
    const support::Clock& clock_;
};

}  // namespace quorvane::platform::libav
