#include "recognition/text_reading_order.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

namespace quorvane::recognition {
namespace {

struct Box {
    const char* text;
    double x;
    double centre;  // from the bottom
    double height = 0.5;
};

TextRecognitionObservation observed(const Box& box) {
    return {box.text, 1, {box.x, box.centre - box.height / 2, 0.125, box.height}};
}

std::string orderOf(const std::vector<Box>& boxes) {
    std::vector<TextRecognitionObservation> observations;
    for (const auto& box : boxes)
        observations.push_back(observed(box));
    std::string order;
    for (const auto& each : sortTextRecognitionObservations(observations))
        order += each.text;
    return order;
}

TEST(TextReadingOrder, ReadsRowsFromTheTopAndEachFromTheLeft) {
    struct Row {
        const char* name;
        std::vector<Box> boxes;
        const char* order;
    };
    const Row rows[] = {
        {"nothing", {}, ""},
        {"centres 0.03 apart: the top one first, whatever its x",
         {{"a", 0.1, 0.5}, {"b", 0.9, 0.53}},
         "ba"},
        {"centres 0.02 apart: left to right", {{"a", 0.9, 0.52}, {"b", 0.1, 0.5}}, "ba"},
        {"exactly the tolerance apart is one row", {{"a", 0.9, 0.025, 0}, {"b", 0.1, 0, 0}}, "ba"},
        {"just beyond it is two", {{"a", 0.1, 0, 0}, {"b", 0.9, 0.02500001, 0}}, "ba"},
        {"the centre counts, not the lower edge",
         {{"a", 0.1, 0.5, 0.25}, {"b", 0.9, 0.53, 0.875}},
         "ba"},
        {"equal x in a row keeps the order", {{"b", 0.5, 0.5}, {"a", 0.5, 0.51}}, "ba"},
        {"two columns",
         {{"a", 0.1, 0.9}, {"c", 0.1, 0.8}, {"b", 0.6, 0.9}, {"d", 0.6, 0.8}},
         "abcd"},
        // Each within 0.025 of the next, the ends further apart: x decides between neighbours.
        {"a row that slopes upwards, given from the left",
         {{"a", 0.1, 0.50}, {"b", 0.2, 0.52}, {"c", 0.3, 0.54}},
         "abc"},
        {"the same given from the right",
         {{"c", 0.3, 0.54}, {"b", 0.2, 0.52}, {"a", 0.1, 0.50}},
         "abc"},
        {"the same given with the middle last is one reversed run",
         {{"a", 0.1, 0.50}, {"c", 0.3, 0.54}, {"b", 0.2, 0.52}},
         "bca"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(orderOf(row.boxes), row.order);
    }
}

TEST(TextReadingOrder, KeepsEveryObservationOfALongList) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> anywhere(0, 1);
    std::vector<TextRecognitionObservation> observations(500);
    for (std::size_t at = 0; at < observations.size(); ++at) {
        observations[at] = {std::to_string(at), 1, {anywhere(random), anywhere(random), 0.1, 0.01}};
    }
    const auto sorted = sortTextRecognitionObservations(observations);
    std::vector<bool> seen(observations.size(), false);
    for (const auto& each : sorted)
        seen[std::stoul(each.text)] = true;
    EXPECT_EQ(sorted.size(), observations.size());
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 500);
}

}  // namespace
}  // namespace quorvane::recognition
