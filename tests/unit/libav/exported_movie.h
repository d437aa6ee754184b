// Movies that the ffmpeg program makes, exports of them, and what an independent reader sees in
// both.
#pragma once

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/export_session.h"
#include "unit/temporary_folder.h"

namespace quorvane::platform::libav {

// A folder that is gone with the test.
using ExportFolder = TemporaryFolder;

// For the shell.
std::string quoted(const std::string& text);
// Runs ffmpeg with these arguments, as a shell reads them, and the file that it is to write.
void makeMovie(const std::string& arguments, const std::string& path);
// A second of sound with a click at its nth sample frame, as a source of ffmpeg's.
std::string click(int frame, int sampleRate = 48000, double seconds = 3);

// All tracks of the movie at unit volume, set up as the program does it. Null where the service
// refuses.
std::shared_ptr<ExportSession> makeExport(const std::string& input, const std::string& output);
struct ExportResult {
    ExportStatus status = ExportStatus::unknown;
    std::exception_ptr error;
    std::string errorDomain;
    std::int64_t errorCode = 0;
    std::string errorText;
};
// Runs it to its end, and calls watch() every now and then. One that hangs ends the process.
ExportResult runExport(ExportSession& session, const std::function<void()>& watch = {});
ExportResult exportMovie(const std::string& input, const std::string& output);

// A line for each packet of the first picture track: times, duration, flags, a hash of its bytes.
std::string picturePackets(const std::string& path);
// A track's sound from the movie's begin, 48 kHz, both channels in turn; with silence before it
// where it begins later.
std::vector<float> stereoSound(const std::string& path, int track = 0);
// The sum of all tracks, limited to full scale.
std::vector<float> expectedMix(const std::string& path, int tracks);
// The sample frame of the left channel's highest peak between two of them.
int peak(const std::vector<float>& stereo, int from, int to);
double rms(const std::vector<float>& stereo, int from, int to);
// Of the difference.
double rmsError(const std::vector<float>& one, const std::vector<float>& other, int from, int to);

}  // namespace quorvane::platform::libav
