#include "cli/error_text.h"

#include <cstdint>
#include <system_error>

#include <fmt/format.h>

#include "cli/recorder_error.h"
#include "platform/platform_error.h"

namespace quorvane::cli {
namespace {

// The one identity that says nothing and is left out.
constexpr const char* namelessDomain = "NSCocoaErrorDomain";

struct Identity {
    std::string description;
    std::string domain;
    std::int64_t code = 0;
    std::shared_ptr<const platform::PlatformError> underlying;
};

Identity identify(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const RecorderError& recorder) {
        return {recorder.errorDescription(), RecorderError::domain, recorder.code(), nullptr};
    } catch (const platform::PlatformError& failure) {
        return {failure.description(), failure.domain(), failure.code(), failure.underlying()};
    } catch (const std::system_error& failure) {
        return {failure.what(), "POSIX", failure.code().value(), nullptr};
    } catch (const std::exception& failure) {
        return {failure.what(), "Exception", 0, nullptr};
    } catch (...) {
        return {"An unknown error occurred.", "Exception", 0, nullptr};
    }
}

}  // namespace

std::string localizedDescription(const std::exception_ptr& error) {
    return identify(error).description;
}

std::string failureLine(const std::exception_ptr& error) {
    const auto [description, domain, code, underlying] = identify(error);
    std::string line = description;
    if (domain != namelessDomain || code != 0) line += fmt::format(" ({} {})", domain, code);
    if (underlying) {
        line += fmt::format(" underlying: {} ({} {})", underlying->description(),
                            underlying->domain(), underlying->code());
    }
    return line;
}

}  // namespace quorvane::cli
