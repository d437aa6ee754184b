// Copies the content of a file as cheaply as the file system allows.
#pragma once

namespace quorvane::platform::files {

// Copies everything from one open file to another, empty one. Without moving a byte where the file
// system lets files share their blocks, else by the kernel, else through a buffer of 1 MiB.
// Answers 0, or the errno of the call that failed; a part may have been copied then.
// Threads: any; waits for the disk.
int copyContent(int source, int destination);

}  // namespace quorvane::platform::files
