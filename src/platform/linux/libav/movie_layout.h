// Turns the fragmented movie on disk into an ordinary one with its index in front.
//
// While it is recorded the file is
//     ftyp | free: the reserve | moov without samples | moof mdat | moof mdat | ...
// and afterwards
//     ftyp | moov: the index | free | mdat: the rest of the file, its old headers included
// The index is written into the reserve, where it is only content of the free box; then 8 bytes,
// the header of that box, are replaced. Before that the file is a whole fragmented movie, after it
// a whole indexed one, and no sample has moved: finishing takes the same short time however long
// the recording was, and a crash at any moment leaves one of the two. The reserve is fitted to the
// index before: where the file system can put blocks into a file or take them out (ext4, XFS), by
// that, and again so that the file is whole between any two steps. Where it cannot, a file with
// much padding, or one whose reserve is too small, is written anew beside the old one and takes its
// place, if the disk is quick enough: else the padding stays, or the index comes behind. Units:
// bytes. Threads: one at a time; blocks for the disk. Errors: PlatformError.
#pragma once

#include <cstdint>
#include <functional>

#include "isobmff/box_writer.h"
#include "platform/linux/libav/movie_storage.h"
#include "support/dispatch.h"

namespace quorvane::platform::libav {

struct MovieLayout {
    std::int64_t reserveBegin = 0;  // the free box behind ftyp
    std::int64_t mediaBegin = 0;    // where the reserve ends
    std::int64_t end = 0;           // of the file
};

// The movie's index, for media that has moved by so many bytes since the recording.
using MakeIndex = std::function<isobmff::Bytes(std::int64_t shift)>;

enum class FinishEffort {
    inPlace,  // only what is quick and needs no space: for a disk that has just failed
    full,
};

// Writes ftyp and the free box. The reserve has been allocated.
void writeMovieFront(MovieStorage& file, const MovieLayout& layout, const isobmff::Bytes& fileType);

// Where it fails, the file still is the fragmented movie that it was. The clock bounds how long a
// movie is written anew.
void finishMovie(MovieStorage& file, MovieLayout layout, const MakeIndex& makeIndex,
                 FinishEffort effort, const support::Clock& clock);

}  // namespace quorvane::platform::libav
