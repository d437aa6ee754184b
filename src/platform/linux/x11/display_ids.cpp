#include "platform/linux/x11/display_ids.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace quorvane::platform::x11 {
namespace {

std::uint32_t hashOf(std::string_view text) {
    std::uint32_t hash = 0x811C9DC5;
    for (const char byte : text) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 0x01000193;
    }
    return hash;
}

}  // namespace

std::vector<std::uint32_t> displayIDsOf(std::span<const std::string> names) {
    std::vector<std::size_t> order(names.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return names[a] < names[b]; });

    std::vector<std::uint32_t> ids(names.size(), 0);
    for (const std::size_t index : order) {
        std::uint32_t id = hashOf(names[index]);
        while (id == 0 || std::find(ids.begin(), ids.end(), id) != ids.end())
            ++id;
        ids[index] = id;
    }
    return ids;
}

}  // namespace quorvane::platform::x11
