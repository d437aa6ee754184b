// The program's own errors: five cases with user-facing English messages.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace quorvane::cli {

class RecorderError : public std::exception {
  public:
    // The order is the identity: the position is the code that the failure line prints.
    enum class Case {
        missingArgument,
        invalidArgument,
        unavailable,
        noDisplays,
        noDisplayForRegion
    };

    // The domain under which the failure line prints these errors; parents know it.
    static constexpr const char* domain = "main.RecorderError";

    static RecorderError missingArgument(const std::string& name);  // the option as typed
    static RecorderError invalidArgument(const std::string& name);
    static RecorderError unavailable(std::string message);  // a whole sentence
    static RecorderError noDisplays();
    static RecorderError noDisplayForRegion();

    Case which() const noexcept { return case_; }
    int code() const noexcept { return static_cast<int>(case_); }
    const std::string& errorDescription() const noexcept { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

  private:
    RecorderError(Case which, std::string description)
        : case_(which), description_(std::move(description)) {}

    Case case_;
    std::string description_;
};

// The error as the program stores and passes it on.
std::exception_ptr unavailable(std::string message);

}  // namespace quorvane::cli
