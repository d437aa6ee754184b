// A disk that fails, or a process that dies, at a chosen moment: the calls that change files are
// counted in this program, and one of them can be made to go wrong.
#pragma once

#include <functional>

namespace quorvane::platform::libav {

// The nth such call from now on, counted from 1, in any thread.
void dieAtCall(int nth);                      // the process ends as if it had been killed
void failAtCall(int nth, int errorNumber);    // only that call does nothing and fails
void failFromCall(int nth, int errorNumber);  // and all that follow
// What happens before each flush, in the thread that flushes; null: nothing.
void beforeEachFlush(std::function<void()> event);
// The files seem to lie on a file system of that type (statfs(2)), which claims to move what is in
// a file and spoils it; 0: on their own.
void pretendFileSystem(long type);
// Back to a disk that works. Returns how many calls there were.
int countCalls();

}  // namespace quorvane::platform::libav
