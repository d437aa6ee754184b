// The one error type of platform services.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace quorvane::platform {

// A failure of a platform service, identified by its domain and the service's own code.
// Each adapter has one domain and makes these at its edge, from its library's codes.
class PlatformError : public std::exception {
  public:
    PlatformError(std::string domain, std::int64_t code, std::string description,
                  std::shared_ptr<const PlatformError> underlying = nullptr)
        : domain_(std::move(domain)),
          code_(code),
          description_(std::move(description)),
          underlying_(std::move(underlying)) {}

    const std::string& domain() const noexcept { return domain_; }
    std::int64_t code() const noexcept { return code_; }
    // A sentence for the user.
    const std::string& description() const noexcept { return description_; }
    // The failure that caused this one; may be null.
    const std::shared_ptr<const PlatformError>& underlying() const noexcept { return underlying_; }

    const char* what() const noexcept override { return description_.c_str(); }

  private:
    std::string domain_;
    std::int64_t code_;
    std::string description_;
    std::shared_ptr<const PlatformError> underlying_;
};

// The failure of a system call, in the domain "POSIX": code is errno, the description is what was
// being done and the system's text for the code ("Could not create /x.mp4: File exists").
PlatformError posixError(int errorNumber, const std::string& doing);

}  // namespace quorvane::platform
