// Readies the server's extensions: it serves their requests only to clients that have told the
// version that they speak.
// Threads: the connection's. Errors: PlatformError when the server lacks one or is lost.
#pragma once

#include "platform/linux/x11/connection.h"

namespace quorvane::platform::x11 {

// Each waits for the server once.
void readyDamage(const Connection& connection);
void readyFixes(const Connection& connection);
void readyComposite(const Connection& connection);
void readyRender(const Connection& connection);

}  // namespace quorvane::platform::x11
