// Any bytes become a JSON string that an independent parser reads; valid text reads back the same.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "support/json.h"
#include "support/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto parsed =
        nlohmann::json::parse(quorvane::support::jsonString(text), nullptr, /*exceptions=*/false);
    if (!parsed.is_string()) std::abort();
    if (parsed.get<std::string>() != quorvane::support::validUtf8(text)) std::abort();
    return 0;
}
