#include "unit/libav/movie_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <sstream>

#include <gtest/gtest.h>

namespace quorvane::platform::libav {

std::string outputOf(const std::string& command) {
    std::string output;
    auto* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return output;
    }
    std::vector<char> buffer(1 << 16);
    while (const auto count = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), count);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

std::string probe(const std::string& path, const std::string& entries, const std::string& streams) {
    const auto selection = streams.empty() ? std::string() : " -select_streams " + streams;
    return outputOf("ffprobe -v error" + selection + " -show_entries " + entries +
                    " -of csv=p=0 '" + path + "'");
}

std::vector<std::int64_t> pictureTimes(const std::string& path) {
    std::istringstream lines(probe(path, "packet=pts", "v"));
    std::vector<std::int64_t> times;
    for (std::string line; std::getline(lines, line);)
        times.push_back(std::stoll(line));
    return times;
}

std::vector<std::vector<std::uint8_t>> pictures(const std::string& path, int width, int height) {
    const auto bytes = outputOf(
        "ffmpeg -v error -nostdin -i '" + path +
        "' -map 0:v -fps_mode passthrough -enc_time_base 1:90000 -f rawvideo -pix_fmt yuv420p -");
    const auto size = static_cast<std::size_t>(width * height * 3 / 2);
    std::vector<std::vector<std::uint8_t>> result;
    for (std::size_t at = 0; at + size <= bytes.size(); at += size)
        result.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                            bytes.begin() + static_cast<std::ptrdiff_t>(at + size));
    return result;
}

std::vector<float> sound(const std::string& path, int track, int channels) {
    // What lies before the movie's time 0, as the priming of a movie in fragments does, is cut off.
    const auto bytes = outputOf("ffmpeg -v error -nostdin -copyts -i '" + path + "' -map 0:a:" +
                                std::to_string(track) + " -af atrim=start=0 -f f32le -");
    const auto step = sizeof(float) * static_cast<std::size_t>(channels);
    std::vector<float> samples(bytes.size() / step);
    for (std::size_t index = 0; index < samples.size(); ++index)
        std::memcpy(&samples[index], bytes.data() + index * step, sizeof(float));
    return samples;
}

double durationOf(const std::string& path) {
    const auto text = probe(path, "format=duration");
    return text.empty() ? 0 : std::stod(text);
}

double trackDuration(const std::string& path, int track) {
    const auto text = probe(path, "stream=duration", std::to_string(track));
    return text.empty() ? 0 : std::stod(text);
}

std::vector<std::string> boxTypes(const std::string& path) {
    const auto content = fileContent(path);
    std::vector<std::string> types;
    const auto number = [&](std::size_t at, std::size_t size) {
        std::uint64_t value = 0;
        for (std::size_t index = at; index < at + size; ++index)
            value = value << 8U | std::to_integer<std::uint64_t>(content[index]);
        return value;
    };
    for (std::size_t at = 0; at + 8 <= content.size();) {
        auto size = number(at, 4);
        if (size == 1 && at + 16 <= content.size()) size = number(at + 8, 8);
        if (size < 8 || size > content.size() - at) {
            types.emplace_back("broken");
            break;
        }
        std::string type;
        for (std::size_t index = at + 4; index < at + 8; ++index)
            type += static_cast<char>(content[index]);
        types.push_back(type);
        at += size;
    }
    return types;
}

std::vector<std::byte> fileContent(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

void writeFile(const std::string& path, const std::vector<std::byte>& content, std::size_t size) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(std::min(size, content.size())));
    EXPECT_TRUE(file.good());
}

}  // namespace quorvane::platform::libav
