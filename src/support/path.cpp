#include "support/path.h"

namespace quorvane::support {
namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return path;
}

}  // namespace

std::string lastPathComponent(std::string_view path) {
    path = withoutTrailingSlashes(path);
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos || path.size() == 1) return std::string(path);
    return std::string(path.substr(slash + 1));
}

std::string deletingLastPathComponent(std::string_view path) {
    path = withoutTrailingSlashes(path);
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return ".";
    return std::string(withoutTrailingSlashes(path.substr(0, slash == 0 ? 1 : slash)));
}

std::string deletingPathExtension(std::string_view name) {
    const auto dot = name.rfind('.');
    const bool hasExtension = dot != std::string_view::npos && dot != 0 && dot + 1 != name.size();
    return std::string(hasExtension ? name.substr(0, dot) : name);
}

}  // namespace quorvane::support
