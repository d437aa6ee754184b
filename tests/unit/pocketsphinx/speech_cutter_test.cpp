#include "platform/linux/pocketsphinx/speech_cutter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::pocketsphinx {
namespace {

// So many seconds of a buzz of that amplitude (0: digital silence).
struct Stretch {
    double seconds;
    int amplitude;
};

std::vector<std::int16_t> sound(const std::vector<Stretch>& stretches) {
    std::vector<std::int16_t> samples;
    for (const auto& stretch : stretches) {
        const auto count = static_cast<std::size_t>(stretch.seconds * speechSampleRate);
        for (std::size_t at = 0; at < count; ++at)
            samples.push_back(
                static_cast<std::int16_t>(at % 20 < 10 ? stretch.amplitude : -stretch.amplitude));
    }
    return samples;
}

struct Piece {
    double begin;  // seconds
    double end;
};

std::vector<Piece> cut(const std::vector<std::int16_t>& samples, std::size_t chunk = 16000) {
    std::vector<Piece> pieces;
    SpeechCutter cutter([&](std::span<const std::int16_t> piece, std::int64_t first) {
        // What a piece holds is what stands at its place.
        for (std::size_t at = 0; at < piece.size(); ++at) {
            const auto place = static_cast<std::size_t>(first) + at;
            const std::int16_t expected = place < samples.size() ? samples[place] : 0;
            if (piece[at] != expected) {
                ADD_FAILURE() << "another sample at " << place;
                break;
            }
        }
        const auto end = static_cast<double>(first) + static_cast<double>(piece.size());
        pieces.push_back({static_cast<double>(first) / speechSampleRate, end / speechSampleRate});
    });
    for (std::size_t at = 0; at < samples.size(); at += chunk) {
        const auto count = std::min(chunk, samples.size() - at);
        cutter.append(std::span(samples).subspan(at, count));
    }
    cutter.finish();
    return pieces;
}

TEST(SpeechCutter, CutsAtPauses) {
    struct Row {
        const char* name;
        std::vector<Stretch> stretches;
        std::vector<Piece> pieces;
    };
    const Row rows[] = {
        {"nothing", {}, {}},
        {"silence", {{100, 0}}, {}},
        {"faint noise", {{100, 10}}, {}},
        {"a click", {{2, 0}, {0.02, 9000}, {5, 0}}, {}},
        {"speech from end to end", {{5, 9000}}, {{0, 5}}},
        {"speech in silence keeps a margin", {{2, 0}, {3, 9000}, {4, 0}}, {{1.75, 5.25}}},
        {"a short pause cuts nothing", {{3, 9000}, {2.5, 0}, {3, 9000}}, {{0, 8.5}}},
        {"a long one does", {{3, 9000}, {6, 0}, {3, 9000}}, {{0, 3.25}, {8.75, 12}}},
        {"a piece that is long enough ends at a short pause",
         {{11, 9000}, {0.6, 0}, {3, 9000}},
         {{0, 11.25}, {11.35, 14.6}}},
        {"quiet speech", {{2, 0}, {3, 150}, {4, 0}}, {{1.75, 5.25}}},
        {"a pause is quiet beside the voice",
         {{11, 9000}, {0.6, 20}, {3, 9000}},
         {{0, 11.25}, {11.35, 14.6}}},
        {"noise that is not far below the voice is no pause",
         {{11, 9000}, {0.6, 500}, {3, 9000}},
         {{0, 14.6}}},
        {"half a second behind the last piece", {{11, 9000}, {0.5, 0}}, {{0, 11.25}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto pieces = cut(sound(row.stretches));
        ASSERT_EQ(pieces.size(), row.pieces.size());
        for (std::size_t at = 0; at < pieces.size(); ++at) {
            EXPECT_NEAR(pieces[at].begin, row.pieces[at].begin, 0.015) << at;
            EXPECT_NEAR(pieces[at].end, row.pieces[at].end, 0.015) << at;
        }
    }
}

TEST(SpeechCutter, CutsAtTheQuietestPlaceWhereThereIsNoPause) {
    // After 20 s the voice drops for a fifth of a second.
    const auto pieces = cut(sound({{20, 9000}, {0.2, 2000}, {15, 9000}}));
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_NEAR(pieces[0].end, 20.1, 0.02);
    EXPECT_EQ(pieces[1].begin, pieces[0].end);
    EXPECT_NEAR(pieces[1].end, 35.2, 0.015);
}

TEST(SpeechCutter, NoPieceIsLongerThanThirtySecondsAndNothingIsLost) {
    const auto pieces = cut(sound({{200, 9000}}));
    ASSERT_GT(pieces.size(), 6U);
    double end = 0;
    for (const auto& piece : pieces) {
        EXPECT_EQ(piece.begin, end);
        EXPECT_LE(piece.end - piece.begin, 30.0);
        end = piece.end;
    }
    EXPECT_NEAR(end, 200, 0.015);
}

TEST(SpeechCutter, TheSizeOfTheChunksMakesNoDifference) {
    const auto samples = sound({{1, 0}, {4, 9000}, {5, 0}, {40, 7000}, {1, 0}, {2, 3000}});
    const auto whole = cut(samples, samples.size());
    ASSERT_GE(whole.size(), 3U);
    for (const std::size_t chunk : {1, 159, 160, 1023, 100000}) {
        SCOPED_TRACE(chunk);
        const auto pieces = cut(samples, chunk);
        ASSERT_EQ(pieces.size(), whole.size());
        for (std::size_t at = 0; at < pieces.size(); ++at) {
            EXPECT_EQ(pieces[at].begin, whole[at].begin);
            EXPECT_EQ(pieces[at].end, whole[at].end);
        }
    }
}

// On random speech: in order, apart, within the limits, and everything loud is in some piece.
TEST(SpeechCutter, KeepsItsPromisesOnRandomSpeech) {
    for (std::uint32_t seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto below = [&](int limit) {
            return static_cast<int>(random() % static_cast<std::uint32_t>(limit));
        };
        std::vector<Stretch> stretches;
        for (int each = 0; each < 20; ++each) {
            stretches.push_back({0.1 + below(1000) / 200.0, 3000 + below(9000)});
            stretches.push_back({below(1000) / 250.0, below(8)});
        }
        const auto pieces = cut(sound(stretches));
        for (std::size_t at = 0; at < pieces.size(); ++at) {
            EXPECT_LE(pieces[at].end - pieces[at].begin, 30.0);
            EXPECT_GE(pieces[at].begin, at == 0 ? 0 : pieces[at - 1].end);
        }
        double begin = 0;
        for (const auto& stretch : stretches) {
            const double end = begin + stretch.seconds;
            if (stretch.amplitude >= 3000) {
                for (const double time : {begin + 0.02, (begin + end) / 2, end - 0.02}) {
                    EXPECT_TRUE(std::any_of(pieces.begin(), pieces.end(), [&](const Piece& piece) {
                        return piece.begin <= time && time <= piece.end;
                    })) << time;
                }
            }
            begin = end;
        }
    }
}

}  // namespace
}  // namespace quorvane::platform::pocketsphinx
