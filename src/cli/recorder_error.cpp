#include "cli/recorder_error.h"

namespace quorvane::cli {

RecorderError RecorderError::missingArgument(const std::string& name) {
    return {Case::missingArgument, "Missing " + name + "."};
}
RecorderError RecorderError::invalidArgument(const std::string& name) {
    return {Case::invalidArgument, "Invalid " + name + "."};
}
RecorderError RecorderError::unavailable(std::string message) {
    return {Case::unavailable, std::move(message)};
}
RecorderError RecorderError::noDisplays() {
    return {Case::noDisplays, "No recordable displays were found."};
}
RecorderError RecorderError::noDisplayForRegion() {
    return {Case::noDisplayForRegion, "The selected region is not on a recordable display."};
}

std::exception_ptr unavailable(std::string message) {
    return std::make_exception_ptr(RecorderError::unavailable(std::move(message)));
}

}  // namespace quorvane::cli
