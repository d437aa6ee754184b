// Where the X server's password is found.
#pragma once

namespace quorvane::platform::x11 {

// libXau puts the default name of the authority file together in a buffer of its own, which two
// threads that connect at the same time would share. Named by the environment it is only read.
// Called by the main thread, before any other exists.
void nameAuthorityFile();

}  // namespace quorvane::platform::x11
