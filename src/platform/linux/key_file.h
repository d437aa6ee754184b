// Files of groups of keys and values, as desktop entries and sandboxes have them:
//   [Group]
//   Key=value
// Threads: pure, any. Errors: none; what is no line of a group is passed over.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace quorvane::platform {

using KeyFileGroup = std::map<std::string, std::string, std::less<>>;

// The keys of the group, empty when it is not there. The first of two equal keys counts. Values are
// as they stand in the file, without the blanks around them.
KeyFileGroup keyFileGroup(std::string_view text, std::string_view group);

}  // namespace quorvane::platform
