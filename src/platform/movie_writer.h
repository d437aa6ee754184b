// The port to the movie writer: samples in, one MPEG-4 file out.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "platform/sample_buffer.h"
#include "support/media_time.h"

namespace quorvane::platform {

enum class MovieWriterStatus { unknown, writing, completed, failed, cancelled };

// H.264. The profile is High, the level follows from size and rate.
struct VideoInputSettings {
    int width = 0;                    // pixels, even
    int height = 0;                   // pixels, even
    int averageBitRate = 0;           // bit/s
    int expectedSourceFrameRate = 0;  // frames/s
    bool allowFrameReordering = true;
    bool expectsMediaDataInRealTime = false;
};

// AAC.
struct AudioInputSettings {
    int sampleRate = 0;  // Hz
    int channels = 0;
    int bitRate = 0;  // bit/s
    bool expectsMediaDataInRealTime = false;
};

// One track of the movie. Threads: one at a time (the recorder's sample queue).
class MovieWriterInput {
  public:
    virtual ~MovieWriterInput() = default;
    // Whether append() would take a sample now without waiting.
    virtual bool isReadyForMoreMediaData() const = 0;
    // False when the writer has failed; its error() then says why.
    virtual bool append(const SampleBufferPtr& sampleBuffer) = 0;
    // No more samples come. The movie ends now: the last picture lasts, and sound goes on as
    // silence, until the host time at which the video input was marked.
    virtual void markAsFinished() = 0;
};

// Status: unknown -> writing -> completed or failed; cancelWriting() leads to cancelled. What fails
// behind the inputs while writing shows at the next append, which returns false, or at the end.
// Threads: status() and error() from any, all else one at a time (the recorder's sample queue).
class MovieWriter {
  public:
    virtual ~MovieWriter() = default;
    virtual MovieWriterStatus status() const = 0;
    // Why the writer failed; null otherwise.
    virtual std::exception_ptr error() const = 0;
    // The index stands in front of the media when the movie is finished.
    virtual void setShouldOptimizeForNetworkUse(bool optimize) = 0;
    // Adds a track, in the order of the calls, before writing starts. Null when the writer cannot
    // encode these settings. The input lives as long as the writer.
    virtual MovieWriterInput* addVideoInput(const VideoInputSettings& settings) = 0;
    virtual MovieWriterInput* addAudioInput(const AudioInputSettings& settings) = 0;
    // Creates the file, which must not exist yet. False on failure: status is then failed.
    virtual bool startWriting() = 0;
    // The host time that becomes the movie's time 0.
    virtual void startSession(support::MediaTime sourceTime) = 0;
    // The completion is called exactly once, on any thread, when status is completed or failed.
    virtual void finishWriting(std::function<void()> completion) = 0;
    virtual void cancelWriting() = 0;
};

class MovieWriterFactory {
  public:
    virtual ~MovieWriterFactory() = default;
    // An MPEG-4 writer for the path. Touches no file yet. Throws PlatformError, also where
    // something is at the path already: a recording that is stopped before it begins must not take
    // that for its own movie.
    virtual std::shared_ptr<MovieWriter> makeMovieWriter(const std::string& path) = 0;
};

}  // namespace quorvane::platform
