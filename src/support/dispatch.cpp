#include "support/dispatch.h"

#include <cassert>

namespace quorvane::support {

void Queue::assertCurrent() const {
    assert(isCurrent());
}

}  // namespace quorvane::support
