#include "recognition/run_merging_sort.h"

#include <cmath>
#include <functional>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvane::recognition {
namespace {

using testing::ElementsAre;

struct Item {
    double key = 0;
    int number = 0;  // its place in the list
    bool operator==(const Item&) const = default;
};

using Items = std::vector<Item>;
using Before = std::function<bool(const Item&, const Item&)>;

// The rule once more, on lists of lists and without any place of elements being used twice.
class Statement {
  public:
    explicit Statement(Before before) : before_(std::move(before)) {}

    Items sorted(const Items& items) {
        std::vector<Items> runs;
        const auto least = leastRun(items.size());
        std::size_t at = 0;
        while (at < items.size()) {
            auto run = takeRun(items, at);
            at += run.size();
            for (; run.size() < least && at < items.size(); ++at)
                insert(run, items[at]);
            runs.push_back(run);
            while (mergeOnce(runs)) {
            }
        }
        while (runs.size() > 1)
            merge(runs, runs.size() - 2);
        return runs.empty() ? Items() : runs[0];
    }

    static std::size_t leastRun(std::size_t count) {
        if (count < 64) return count;
        std::size_t divisor = 1;
        while (count / divisor >= 64)
            divisor *= 2;
        return (count + divisor - 1) / divisor;
    }

  private:
    Items takeRun(const Items& items, std::size_t begin) {
        Items run{items[begin]};
        const bool reversed = begin + 1 < items.size() && before_(items[begin + 1], items[begin]);
        for (auto at = begin + 1;
             at < items.size() && before_(items[at], items[at - 1]) == reversed; ++at)
            run.insert(reversed ? run.begin() : run.end(), items[at]);
        return run;
    }

    void insert(Items& run, const Item& item) {
        auto place = run.end();
        while (place != run.begin() && before_(item, *(place - 1)))
            --place;
        run.insert(place, item);
    }

    bool mergeOnce(std::vector<Items>& runs) {
        const auto count = runs.size();
        const auto size = [&](std::size_t fromTop) { return runs[count - 1 - fromTop].size(); };
        const bool broken = (count >= 3 && size(2) <= size(1) + size(0)) ||
                            (count >= 4 && size(3) <= size(2) + size(1));
        if (broken) {
            merge(runs, size(2) < size(0) ? count - 3 : count - 2);
            return true;
        }
        if (count >= 2 && size(1) <= size(0)) {
            merge(runs, count - 2);
            return true;
        }
        return false;
    }

    // From the front when the first run is the shorter, else from the back.
    void merge(std::vector<Items>& runs, std::size_t at) {
        Items first = runs[at];
        Items second = runs[at + 1];
        Items merged;
        if (first.size() < second.size()) {
            while (!first.empty() && !second.empty()) {
                auto& from = before_(second.front(), first.front()) ? second : first;
                merged.push_back(from.front());
                from.erase(from.begin());
            }
            merged.insert(merged.end(), first.begin(), first.end());
            merged.insert(merged.end(), second.begin(), second.end());
        } else {
            while (!first.empty() && !second.empty()) {
                auto& from = before_(second.back(), first.back()) ? first : second;
                merged.insert(merged.begin(), from.back());
                from.pop_back();
            }
            merged.insert(merged.begin(), second.begin(), second.end());
            merged.insert(merged.begin(), first.begin(), first.end());
        }
        runs[at] = merged;
        runs.erase(runs.begin() + static_cast<std::ptrdiff_t>(at) + 1);
    }

    Before before_;
};

bool byKey(const Item& first, const Item& second) {
    return first.key < second.key;
}

// Not transitive: nearly equal keys are ordered by something else.
bool byCoarseKey(const Item& first, const Item& second) {
    if (std::abs(first.key - second.key) > 3) return first.key < second.key;
    return first.number * 7919 % 101 < second.number * 7919 % 101;
}

// Keys of stretches that rise, fall and jump, so that runs of all lengths come up.
Items randomItems(std::size_t count, std::mt19937& random) {
    Items items;
    double key = 0;
    int direction = 0;
    for (std::size_t at = 0; at < count; ++at) {
        if (random() % 13 == 0) direction = static_cast<int>(random() % 4);
        if (direction == 0) key += static_cast<double>(random() % 3);
        if (direction == 1) key -= static_cast<double>(1 + random() % 3);
        if (direction >= 2) key = static_cast<double>(random() % 40);
        items.push_back({key, static_cast<int>(at)});
    }
    return items;
}

std::vector<int> numbersOf(const Items& items) {
    std::vector<int> numbers;
    for (const auto& item : items)
        numbers.push_back(item.number);
    return numbers;
}

TEST(RunMergingSort, IsTheRuleOnRandomListsBelowAndFrom64) {
    std::mt19937 random(20260101);
    for (const auto& [name, before] :
         {std::pair<const char*, Before>{"in order", byKey}, {"not transitive", byCoarseKey}}) {
        for (int round = 0; round < 1500; ++round) {
            const std::size_t count = round % 3 == 0 ? random() % 700 : random() % 140;
            SCOPED_TRACE(testing::Message() << name << ", round " << round << ", " << count);
            const auto items = randomItems(count, random);
            auto sorted = items;
            runMergingSort(sorted, before);
            ASSERT_EQ(numbersOf(sorted), numbersOf(Statement(before).sorted(items)));
        }
    }
}

TEST(RunMergingSort, IsAStableSortWhereTheOrderIsTransitive) {
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        auto items = randomItems(random() % 400, random);
        auto expected = items;
        std::stable_sort(expected.begin(), expected.end(), byKey);
        runMergingSort(items, byKey);
        ASSERT_EQ(items, expected) << "round " << round;
    }
}

TEST(RunMergingSort, CutsListsIntoRunsOfThisLengthAtLeast) {
    const auto least = RunMergingSort<Item, Before>::minimumRunLength;
    struct Row {
        std::size_t count;
        std::size_t least;
    };
    for (const auto& row :
         {Row{0, 0}, Row{1, 1}, Row{63, 63}, Row{64, 32}, Row{65, 33}, Row{127, 64}, Row{128, 32},
          Row{129, 33}, Row{1000, 63}, Row{1024, 32}, Row{4095, 64}}) {
        SCOPED_TRACE(row.count);
        EXPECT_EQ(least(row.count), row.least);
        EXPECT_EQ(Statement::leastRun(row.count), row.least);
    }
}

TEST(RunMergingSort, InsertionStopsAtTheFirstElementThatDoesNotComeLater) {
    // 5 comes before 9 but not before 4, at which it stops, although 6 further left is greater.
    std::vector<int> values{6, 4, 9, 5};
    runMergingSort(values, [](int first, int second) {
        if (first == 4 && second == 6) return false;  // the run 6, 4 counts as in order
        return first < second;
    });
    EXPECT_THAT(values, ElementsAre(6, 4, 5, 9));
}

TEST(RunMergingSort, LeavesNothingAndOneAlone) {
    std::vector<int> none;
    runMergingSort(none, std::less<>());
    EXPECT_TRUE(none.empty());
    std::vector<int> one{3};
    runMergingSort(one, std::less<>());
    EXPECT_THAT(one, ElementsAre(3));
}

}  // namespace
}  // namespace quorvane::recognition
