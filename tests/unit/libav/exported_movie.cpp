#include "unit/libav/exported_movie.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <future>

#include <gtest/gtest.h>

#include "platform/linux/libav/libav_export_session.h"
#include "platform/linux/libav/libav_media_asset.h"
#include "platform/platform_error.h"
#include "unit/libav/movie_reader.h"

namespace quorvane::platform::libav {

using namespace std::chrono_literals;

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return result + "'";
}

void makeMovie(const std::string& arguments, const std::string& path) {
    outputOf("ffmpeg -v error -nostdin -y " + arguments + " " + quoted("file:" + path));
}

std::string click(int frame, int sampleRate, double seconds) {
    return "-f lavfi -i \"aevalsrc='0.9*eq(n," + std::to_string(frame) +
           ")':s=" + std::to_string(sampleRate) + ":d=" + std::to_string(seconds) + "\"";
}

std::shared_ptr<ExportSession> makeExport(const std::string& input, const std::string& output) {
    LibavMediaAssets assets;
    LibavExportService service;
    const auto asset = assets.openAsset(input);
    const TimeRange whole{.start = {}, .duration = asset->loadDuration()};
    const auto composition = service.makeComposition();
    const auto pictures = asset->loadTracks(MediaType::video);
    if (!pictures.empty()) {
        auto* track = composition->addTrack(MediaType::video);
        track->insertTimeRange(whole, pictures.front(), {});
        track->setPreferredTransform(pictures.front()->loadPreferredTransform());
    }
    for (const auto& sound : asset->loadTracks(MediaType::audio))
        composition->addTrack(MediaType::audio)->insertTimeRange(whole, sound, {});
    auto session = service.makeExportSession(composition, ExportPreset::highestQuality);
    if (session) {
        session->setOutputPath(output);
        session->setOutputFileType(FileType::mpeg4);
        session->setShouldOptimizeForNetworkUse(true);
    }
    return session;
}

ExportResult runExport(ExportSession& session, const std::function<void()>& watch) {
    std::promise<void> ended;
    session.exportAsynchronously([&] { ended.set_value(); });
    const auto end = ended.get_future();
    const auto deadline = std::chrono::steady_clock::now() + 120s;
    while (end.wait_for(1ms) == std::future_status::timeout) {
        if (watch) watch();
        if (std::chrono::steady_clock::now() < deadline) continue;
        ADD_FAILURE() << "The export hangs; its progress is " << session.progress() << ".";
        std::abort();  // the core tells where
    }
    ExportResult result{session.status(), session.error(), "", 0, ""};
    if (result.error) {
        try {
            std::rethrow_exception(result.error);
        } catch (const PlatformError& error) {
            result.errorDomain = error.domain();
            result.errorCode = error.code();
            result.errorText = error.description();
        }
    }
    return result;
}

ExportResult exportMovie(const std::string& input, const std::string& output) {
    const auto session = makeExport(input, output);
    return session ? runExport(*session) : ExportResult{};
}

std::string picturePackets(const std::string& path) {
    return outputOf(
        "ffprobe -v error -select_streams v:0 -show_data_hash md5 -show_entries "
        "packet=pts,dts,duration,flags,data_hash -of csv=p=0 " +
        quoted("file:" + path));
}

std::vector<float> stereoSound(const std::string& path, int track) {
    const auto bytes = outputOf("ffmpeg -v error -nostdin -i " + quoted("file:" + path) +
                                " -map 0:a:" + std::to_string(track) +
                                " -af aresample=async=1:first_pts=0 -ar 48000 -ac 2 -f f32le -");
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

std::vector<float> expectedMix(const std::string& path, int tracks) {
    std::vector<float> mix;
    for (int track = 0; track < tracks; ++track) {
        const auto samples = stereoSound(path, track);
        mix.resize(std::max(mix.size(), samples.size()));
        for (std::size_t index = 0; index < samples.size(); ++index)
            mix[index] += samples[index];
    }
    for (auto& sample : mix)
        sample = std::clamp(sample, -1.0F, 1.0F);
    return mix;
}

int peak(const std::vector<float>& stereo, int from, int to) {
    int highest = from;
    for (int frame = from; frame < to && 2 * frame < static_cast<int>(stereo.size()); ++frame) {
        if (std::abs(stereo[2 * static_cast<std::size_t>(frame)]) >
            std::abs(stereo[2 * static_cast<std::size_t>(highest)]))
            highest = frame;
    }
    return highest;
}

double rms(const std::vector<float>& stereo, int from, int to) {
    return rmsError(stereo, std::vector<float>(stereo.size()), from, to);
}

double rmsError(const std::vector<float>& one, const std::vector<float>& other, int from, int to) {
    const auto end = std::min({static_cast<std::size_t>(to) * 2, one.size(), other.size()});
    double sum = 0;
    std::size_t count = 0;
    for (auto index = static_cast<std::size_t>(from) * 2; index < end; ++index, ++count) {
        const double difference = static_cast<double>(one[index]) - other[index];
        sum += difference * difference;
    }
    return count == 0 ? 0 : std::sqrt(sum / static_cast<double>(count));
}

}  // namespace quorvane::platform::libav
