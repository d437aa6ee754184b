// The sequence parameter set of an H.264 stream (ITU-T H.264, 7.3.2.1.1 and annex E), as far as the
// timing of pictures goes.
// Threads: pure. Errors: an empty result says that the parameter set is not a whole one.
#pragma once

#include <cstdint>

#include "isobmff/avc_configuration.h"

namespace quorvane::isobmff {

// The same parameter set, but its pictures come when they come, on a clock of so many ticks a
// second. One that says nothing of timing stays as it is.
// Why: a recording has a picture when the screen has changed. An encoder that has been set up for a
// fixed frame rate promises one in the stream, and some players hold the stream to it.
Bytes withVariableFrameRate(NalUnit sequenceParameterSet, std::uint32_t ticksPerSecond);

}  // namespace quorvane::isobmff
