// What an H.264 track says of its stream: the parameter sets that stand outside of the samples
// (ISO/IEC 14496-15, AVCDecoderConfigurationRecord).
// Threads: pure. Errors: an empty result says that the parameter sets are not usable.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "isobmff/box_writer.h"

namespace quorvane::isobmff {

using NalUnit = std::span<const std::byte>;

// The NAL units of a stream in which its length, in 4 bytes, precedes each; none when a length
// reaches beyond the stream.
std::vector<NalUnit> splitAtLengths(std::span<const std::byte> stream);

// The record for samples whose NAL units have 4-byte lengths. 8 bits a sample, 4:2:0.
// Other NAL units than sequence and picture parameter sets are left out.
Bytes avcConfiguration(std::span<const NalUnit> units);

}  // namespace quorvane::isobmff
