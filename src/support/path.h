// The parts of a file's path, as text.
// Threads: pure, any. Errors: none.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::support {

// "Take 1.mov" of "/x/Take 1.mov"; slashes at the end do not count.
std::string lastPathComponent(std::string_view path);
// "/x" of "/x/Take 1.mov"; "." where the path has but one component.
std::string deletingLastPathComponent(std::string_view path);
// "Take 1" of the name "Take 1.mov". What begins with its only dot, or ends with one, has no
// extension.
std::string deletingPathExtension(std::string_view name);

}  // namespace quorvane::support
