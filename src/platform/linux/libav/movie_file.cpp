#include "platform/linux/libav/movie_file.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>
#include <utility>

namespace quorvane::platform::libav {
namespace {

using namespace std::chrono_literals;
using support::MediaTime;
using support::MutexLock;

// Killed at any moment, a movie lacks this and what the encoders hold, well under 2 s.
constexpr auto fragmentLength = 500ms;
// What waited for a slow disk is written in fragments of so much of each track, so that no more is
// lost when the disk fails: of as little as it catches up with, at several times the recording's
// pace.
constexpr std::chrono::milliseconds shortestCatchUp = 1s;
constexpr std::chrono::milliseconds longestCatchUp = 16s;
constexpr int catchUpPace = 16;
constexpr auto pictureUpdatePeriod = 1s;
// How often the file's thread looks at the clock; an append that is due wakes it at once.
constexpr auto tick = 250ms;

// From 1904, where the format's times begin, to 1970.
constexpr std::uint64_t secondsFrom1904To1970 = 2082844800;

std::int64_t rescale(std::int64_t value, std::uint32_t from, std::uint32_t to) {
    if (from == to) return value;
    return (value * to + from / 2) / from;
}

}  // namespace

MovieFile::MovieFile(const support::Clock& clock, const MovieFileOptions& options)
    : clock_(clock), options_(options), catchUp_(shortestCatchUp) {}

void MovieFile::create(const std::string& path, std::vector<isobmff::TrackDescription> tracks) {
    tracks_ = std::move(tracks);
    states_.resize(tracks_.size());
    writing_.resize(tracks_.size());
    {
        MutexLock lock(mutex_);
        pending_.resize(tracks_.size());
        ends_.resize(tracks_.size());
    }
    lastFragment_ = lastUpdate_ = clock_.hostTime();
    const auto now = std::chrono::floor<std::chrono::seconds>(clock_.wallTime());
    creationTime_ =
        static_cast<std::uint64_t>(now.time_since_epoch().count()) + secondsFrom1904To1970;

    const auto fileType = isobmff::fileType();
    const auto header = isobmff::fragmentedMovieHeader(tracks_, creationTime_);
    layout_ = {.reserveBegin = static_cast<std::int64_t>(fileType.size()),
               .mediaBegin = options_.reserve,
               .end = options_.reserve + static_cast<std::int64_t>(header.size())};
    storage_.emplace(MovieStorage::createNew(path));
    try {
        storage_->allocate(0, layout_.end);
        writeMovieFront(*storage_, layout_, fileType);
        storage_->writeAt(layout_.mediaBegin, header);
    } catch (...) {
        storage_->unlink();
        storage_.reset();
        throw;
    }
}

void MovieFile::start(MediaTime begin) {
    MutexLock lock(mutex_);
    begin_ = begin;
}

void MovieFile::append(std::size_t track, const EncodedSample& sample) {
    bool wake = false;
    {
        MutexLock lock(mutex_);
        if (over_) return;
        auto& pending = pending_[track];
        pending.data.insert(pending.data.end(), sample.data.begin(), sample.data.end());
        pending.samples.push_back(
            {static_cast<std::uint32_t>(sample.data.size()), sample.time, sample.isSync});
        pendingBytes_ += static_cast<std::int64_t>(sample.data.size());
        const auto span = std::chrono::milliseconds(
            rescale(sample.time - pending.samples.front().time, tracks_[track].timescale, 1000));
        wake = !due_ && span >= fragmentLength;
        if (wake) due_ = true;
    }
    if (wake) changed_.notify_one();
}

void MovieFile::endTrack(std::size_t track, std::int64_t end) {
    {
        MutexLock lock(mutex_);
        ends_[track] = end;
    }
    changed_.notify_one();
}

void MovieFile::endHere() {
    {
        MutexLock lock(mutex_);
        if (ending_ == Ending::none) ending_ = Ending::finish;
    }
    changed_.notify_one();
}

void MovieFile::cancel() {
    {
        MutexLock lock(mutex_);
        ending_ = Ending::cancel;
    }
    changed_.notify_one();
}

bool MovieFile::hasRoom(double part) const {
    MutexLock lock(mutex_);
    return static_cast<double>(pendingBytes_) < static_cast<double>(options_.backlog) * part;
}

bool MovieFile::isAnythingPending() const {
    return std::ranges::any_of(pending_,
                               [](const PendingTrack& track) { return !track.samples.empty(); });
}

bool MovieFile::allEnded() const {
    return std::ranges::all_of(ends_, [](const auto& end) { return end.has_value(); });
}

void MovieFile::run(const Events& events) {
    std::exception_ptr failure;
    try {
        writeFragments();
    } catch (...) {
        failure = std::current_exception();
    }
    bool cancelled = false;
    std::vector<std::optional<std::int64_t>> ends;
    {
        MutexLock lock(mutex_);
        over_ = true;
        for (auto& track : pending_)
            track = {};
        pendingBytes_ = 0;
        cancelled = ending_ == Ending::cancel;
        ends = ends_;
    }
    if (cancelled) {
        storage_->unlink();
    } else if (failure) {
        events.onFailed(failure);
        try {
            // What is whole on the disk stays; the rest of a fragment does not.
            storage_->truncate(layout_.end);
            finish(FinishEffort::inPlace);
        } catch (const std::exception&) {
            // The first failure is the one to report. The movie stays in its fragments.
        }
    } else {
        try {
            setEnds(ends);
            finish(options_.effort);
        } catch (...) {
            failure = std::current_exception();
            events.onFailed(failure);
        }
    }
    storage_.reset();
    events.onFinished(failure);
}

void MovieFile::writeFragments() {
    for (bool over = false; !over;) {
        const auto now = clock_.hostTime();
        bool hasFragment = false;
        {
            MutexLock lock(mutex_);
            sessionBegin_ = begin_;
            if (ending_ == Ending::cancel) return;
            over = ending_ == Ending::finish || allEnded();
            over_ = over;
            if (isAnythingPending() && (over || due_ || now - lastFragment_ >= fragmentLength)) {
                std::swap(pending_, writing_);
                due_ = false;
                hasFragment = true;
            }
        }
        const bool updated = updateLastPicture(now);
        while (hasFragment) {
            const auto begin = clock_.hostTime();
            const auto written = writeFragment(now);
            if (written == 0) break;
            adaptCatchUp(clock_.hostTime() - begin);
            MutexLock lock(mutex_);
            pendingBytes_ -= written;
            if (ending_ == Ending::cancel) return;
        }
        if (hasFragment) lastFragment_ = now;
        if (updated || hasFragment) storage_->flush();

        MutexLock lock(mutex_);
        if (!over && !due_ && ending_ == Ending::none && !allEnded())
            changed_.wait_for(mutex_, tick);
    }
}

void MovieFile::adaptCatchUp(std::chrono::nanoseconds took) {
    if (took * catchUpPace > catchUp_) {
        catchUp_ = std::min(catchUp_ * 2, longestCatchUp);
    } else if (took * catchUpPace * 4 < catchUp_) {
        catchUp_ = std::max(catchUp_ / 2, shortestCatchUp);
    }
}

void MovieFile::setEnds(const std::vector<std::optional<std::int64_t>>& ends) {
    for (std::size_t index = 0; index < states_.size(); ++index) {
        auto& state = states_[index];
        if (!ends[index] || state.table.empty()) continue;
        if (tracks_[index].sampleDuration == 0) {
            setLastDuration(state, *ends[index] - state.lastTime);
        } else {
            state.table.trimTo(*ends[index]);
        }
    }
}

bool MovieFile::updateLastPicture(MediaTime now) {
    if (!sessionBegin_) return false;
    for (std::size_t index = 0; index < states_.size(); ++index) {
        auto& state = states_[index];
        if (state.lastDurationPosition == 0) continue;
        const auto& samples = writing_[index].samples;
        const auto before = state.table.lastDuration();
        if (!samples.empty()) {
            setLastDuration(state, samples.front().time - state.lastTime);
        } else if (now - lastUpdate_ >= pictureUpdatePeriod) {
            // Never shorter than it was said to be: only the next picture knows better.
            setLastDuration(state,
                            std::max<std::int64_t>(
                                before, ticksAt(now, tracks_[index].timescale) - state.lastTime));
            lastUpdate_ = now;
        }
        if (state.table.lastDuration() != before) return true;
    }
    return false;
}

void MovieFile::setLastDuration(TrackState& state, std::int64_t duration) {
    const auto value = static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(duration, 1, std::numeric_limits<std::uint32_t>::max()));
    if (value == state.table.lastDuration()) return;
    isobmff::BoxWriter bytes;
    bytes.u32(value);
    storage_->writeAt(state.lastDurationPosition, bytes.data());
    state.table.setLastDuration(value);
}

std::int64_t MovieFile::ticksAt(MediaTime time, std::uint32_t timescale) const {
    using Seconds = std::chrono::duration<double>;
    return static_cast<std::int64_t>(Seconds(time - *sessionBegin_).count() * timescale);
}

std::int64_t MovieFile::writeFragment(MediaTime now) {
    fragmentTracks_.clear();
    fragmentStates_.clear();
    for (std::size_t index = 0; index < tracks_.size(); ++index) {
        const auto& description = tracks_[index];
        const auto& samples = writing_[index].samples;
        const auto from = writing_[index].writtenSamples;
        // Of each track from its own time on: one without sound lags behind for ever.
        const auto isInside = [&](const PendingSample& sample) {
            return rescale(sample.time - samples[from].time, description.timescale, 1000) <
                   catchUp_.count();
        };
        auto& state = states_[index];
        state.fragment.clear();
        for (auto each = from; each < samples.size() && isInside(samples[each]); ++each) {
            std::int64_t duration = description.sampleDuration;
            if (duration == 0) {
                const auto next = each + 1 < samples.size()
                                      ? samples[each + 1].time
                                      : (sessionBegin_ ? ticksAt(now, description.timescale) : 0);
                duration = std::max<std::int64_t>(1, next - samples[each].time);
            }
            state.fragment.push_back(
                {samples[each].size, static_cast<std::uint32_t>(duration), samples[each].isSync});
        }
        if (state.fragment.empty()) continue;
        fragmentTracks_.push_back({isobmff::trackID(index), samples[from].time,
                                   description.sampleDuration != 0, state.fragment});
        fragmentStates_.push_back(index);
    }
    if (fragmentTracks_.empty()) {
        for (auto& pending : writing_) {
            pending.data.clear();
            pending.samples.clear();
            pending.writtenBytes = pending.writtenSamples = 0;
        }
        return 0;
    }
    fragmentPlaces_.resize(fragmentTracks_.size());
    fragmentHeader_.clear();
    isobmff::writeFragmentHeader(fragmentHeader_, ++sequenceNumber_, fragmentTracks_,
                                 fragmentPlaces_);

    constexpr std::size_t mostTracks = 7;  // with the header as many parts as one write takes
    assert(fragmentTracks_.size() <= mostTracks);
    std::array<std::span<const std::byte>, mostTracks + 1> parts;
    // The length and the kind of the header's box are written when the rest is on the disk. Until
    // then they are zeros, and readers end there; a header that is cut off would make them refuse
    // the whole file.
    constexpr int boxHeaderSize = 8;
    const std::span<const std::byte> header = fragmentHeader_.data();
    parts[0] = header.subspan(boxHeaderSize);
    std::int64_t size = 0;
    for (std::size_t each = 0; each < fragmentStates_.size(); ++each) {
        auto& pending = writing_[fragmentStates_[each]];
        std::size_t bytes = 0;
        for (const auto& sample : states_[fragmentStates_[each]].fragment)
            bytes += sample.size;
        parts[each + 1] = std::span(pending.data).subspan(pending.writtenBytes, bytes);
        pending.writtenBytes += bytes;
        size += static_cast<std::int64_t>(bytes);
    }
    storage_->writeAt(layout_.end + boxHeaderSize,
                      std::span(parts).first(fragmentStates_.size() + 1));
    storage_->flush();
    storage_->writeAt(layout_.end, header.first(boxHeaderSize));

    for (std::size_t each = 0; each < fragmentStates_.size(); ++each) {
        auto& state = states_[fragmentStates_[each]];
        auto& pending = writing_[fragmentStates_[each]];
        const auto& place = fragmentPlaces_[each];
        const auto& description = tracks_[fragmentStates_[each]];
        const auto& first = pending.samples[pending.writtenSamples];
        if (state.table.empty())
            state.start = rescale(first.time, description.timescale, isobmff::movieTimescale);
        state.table.addChunk(layout_.end + static_cast<std::int64_t>(place.data));
        for (const auto& sample : state.fragment)
            state.table.addSample(sample.size, sample.duration, sample.isSync);
        pending.writtenSamples += state.fragment.size();
        state.lastTime = pending.samples[pending.writtenSamples - 1].time;
        if (description.sampleDuration == 0)
            state.lastDurationPosition =
                layout_.end + static_cast<std::int64_t>(place.lastDurationPosition);
    }
    layout_.end += std::ssize(fragmentHeader_.data()) + size;
    return size;
}

void MovieFile::finish(FinishEffort effort) {
    finishMovie(
        *storage_, layout_, [this](std::int64_t shift) { return makeIndex(shift); }, effort,
        clock_);
}

isobmff::Bytes MovieFile::makeIndex(std::int64_t shift) const {
    std::vector<isobmff::FinishedTrack> tracks;
    for (std::size_t index = 0; index < tracks_.size(); ++index) {
        const auto& description = tracks_[index];
        const auto& state = states_[index];
        const auto length = std::max<std::int64_t>(0, state.table.duration() - description.priming);
        tracks.push_back({description, state.table, state.start,
                          rescale(length, description.timescale, isobmff::movieTimescale)});
    }
    return isobmff::progressiveMovieHeader(tracks, creationTime_, shift);
}

}  // namespace quorvane::platform::libav
