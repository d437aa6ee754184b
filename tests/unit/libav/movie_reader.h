// Movies as an independent reader sees them: ffprobe and ffmpeg as child processes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quorvane::platform::libav {

// Runs a shell command and returns its standard output; a failure to run it, or an exit status
// other than 0, fails the test.
std::string outputOf(const std::string& command);

// ffprobe's values of the streams' or the container's entries, without names, a line a section.
std::string probe(const std::string& path, const std::string& entries,
                  const std::string& streams = "");

// When each picture is shown, in ticks of 1/90000 s.
std::vector<std::int64_t> pictureTimes(const std::string& path);
// The decoded pictures, one plane after the other.
std::vector<std::vector<std::uint8_t>> pictures(const std::string& path, int width, int height);
// The decoded sound of a track (0 is the first with sound), first channel, from the movie's begin.
std::vector<float> sound(const std::string& path, int track = 0, int channels = 2);
// The length of the whole movie, or of its n-th track, as ffprobe reads it.
double durationOf(const std::string& path);
double trackDuration(const std::string& path, int track);

// The types of the boxes at the file's outermost level, in their order.
std::vector<std::string> boxTypes(const std::string& path);

std::vector<std::byte> fileContent(const std::string& path);
void writeFile(const std::string& path, const std::vector<std::byte>& content, std::size_t size);

}  // namespace quorvane::platform::libav
