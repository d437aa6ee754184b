// A stable sort whose result is fixed even where the order is not transitive: by which elements it
// compares, and in which sequence.
//
// It cuts the list into runs that are in order already, or strictly in reverse order, which it
// turns round; lengthens runs below the minimum length by insertion; and merges runs that are
// neighbours. The minimum is the list's length while that is below 64, so a short list is one run.
// From 64 on it is the length's upper six bits, plus one when any of the lower bits is set: 32 to
// 64, so that length / minimum is a power of two or just below one, and the merges are balanced.
// Runs wait on a stack, on which each is longer than the next two together and longer than the
// next; when a new run breaks that, the middle one of the last three is merged with the shorter of
// its neighbours, or the last two with each other. At the end all that wait are merged from the
// top. A merge takes the shorter run aside and fills in from that run's own end of the place.
// Threads: as its arguments. Errors: what comesBefore throws; the elements are then unspecified.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace quorvane::recognition {

template <class Element, class ComesBefore>
class RunMergingSort {
  public:
    RunMergingSort(std::vector<Element>& elements, ComesBefore comesBefore)
        : elements_(elements), comesBefore_(std::move(comesBefore)) {}

    void run() {
        const std::size_t count = elements_.size();
        const std::size_t minimum = minimumRunLength(count);
        for (std::size_t begin = 0; begin < count;) {
            std::size_t end = takeRun(begin);
            if (end - begin < minimum) {
                const std::size_t sorted = end;
                end = std::min(count, begin + minimum);
                insertUpTo(begin, sorted, end);
            }
            ends_.push_back(end);
            restoreBalance();
            begin = end;
        }
        while (ends_.size() > 1)
            mergeWithNext(ends_.size() - 2);
    }

    static std::size_t minimumRunLength(std::size_t count) {
        bool rest = false;
        for (; count >= 64; count /= 2)
            rest = rest || count % 2 != 0;
        return count + (rest ? 1 : 0);
    }

  private:
    // Finds the run at the begin, puts it in order and gives its end.
    std::size_t takeRun(std::size_t begin) {
        std::size_t end = begin + 1;
        if (end == elements_.size()) return end;
        const bool reversed = comesBefore_(elements_[end], elements_[begin]);
        do {
            ++end;
        } while (end < elements_.size() &&
                 comesBefore_(elements_[end], elements_[end - 1]) == reversed);
        if (reversed) std::reverse(at(begin), at(end));
        return end;
    }

    // Moves each element from sorted on to the left, past every one that it comes before.
    void insertUpTo(std::size_t begin, std::size_t sorted, std::size_t end) {
        for (; sorted < end; ++sorted) {
            std::size_t place = sorted;
            while (place > begin && comesBefore_(elements_[sorted], elements_[place - 1]))
                --place;
            std::rotate(at(place), at(sorted), at(sorted + 1));
        }
    }

    void restoreBalance() {
        while (ends_.size() > 1) {
            const std::size_t last = ends_.size() - 1;
            const bool thirdTooShort =
                (last >= 2 && length(last - 2) <= length(last - 1) + length(last)) ||
                (last >= 3 && length(last - 3) <= length(last - 2) + length(last - 1));
            if (thirdTooShort) {
                mergeWithNext(length(last - 2) < length(last) ? last - 2 : last - 1);
            } else if (length(last - 1) <= length(last)) {
                mergeWithNext(last - 1);
            } else {
                break;
            }
        }
    }

    void mergeWithNext(std::size_t run) {
        const std::size_t begin = beginOf(run);
        const std::size_t middle = ends_[run];
        const std::size_t end = ends_[run + 1];
        if (middle - begin < end - middle) {
            mergeFromFront(begin, middle, end);
        } else {
            mergeFromBack(begin, middle, end);
        }
        ends_.erase(ends_.begin() + static_cast<std::ptrdiff_t>(run));
    }

    void mergeFromFront(std::size_t begin, std::size_t middle, std::size_t end) {
        aside_.assign(std::make_move_iterator(at(begin)), std::make_move_iterator(at(middle)));
        std::size_t left = 0;
        for (std::size_t right = middle; left < aside_.size(); ++begin) {
            const bool takeRight = right < end && comesBefore_(elements_[right], aside_[left]);
            elements_[begin] = std::move(takeRight ? elements_[right++] : aside_[left++]);
        }
    }

    void mergeFromBack(std::size_t begin, std::size_t middle, std::size_t end) {
        aside_.assign(std::make_move_iterator(at(middle)), std::make_move_iterator(at(end)));
        std::size_t right = aside_.size();
        for (std::size_t left = middle; right > 0; --end) {
            const bool takeLeft =
                left > begin && comesBefore_(aside_[right - 1], elements_[left - 1]);
            elements_[end - 1] = std::move(takeLeft ? elements_[--left] : aside_[--right]);
        }
    }

    std::size_t beginOf(std::size_t run) const { return run == 0 ? 0 : ends_[run - 1]; }
    std::size_t length(std::size_t run) const { return ends_[run] - beginOf(run); }
    auto at(std::size_t position) {
        return elements_.begin() + static_cast<std::ptrdiff_t>(position);
    }

    std::vector<Element>& elements_;
    ComesBefore comesBefore_;
    std::vector<std::size_t> ends_;  // of the runs that wait; each begins where the one before ends
    std::vector<Element> aside_;
};

template <class Element, class ComesBefore>
void runMergingSort(std::vector<Element>& elements, ComesBefore comesBefore) {
    RunMergingSort<Element, ComesBefore>(elements, std::move(comesBefore)).run();
}

}  // namespace quorvane::recognition
