#include "platform/linux/x11/x11_shareable_content.h"

#include <chrono>
#include <utility>

#include "platform/linux/patient_query.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/monitors.h"
#include "platform/linux/x11/window_list.h"
#include "platform/linux/x11/window_survey.h"
#include "support/background_thread.h"

namespace quorvane::platform::x11 {
namespace {

constexpr auto answerPatience = std::chrono::seconds(2);

}  // namespace

X11ShareableContent::X11ShareableContent(std::shared_ptr<ApplicationDirectory> directory,
                                         std::string displayName)
    : directory_(std::move(directory)), displayName_(std::move(displayName)) {}

std::uint32_t X11ShareableContent::mainDisplayID() {
    return askPatiently("x11-query", answerPatience, std::uint32_t(0), [name = displayName_] {
        return listMonitors(Connection(name)).mainDisplayID;
    });
}

void X11ShareableContent::getShareableContent(bool excludingDesktopWindows,
                                              bool onScreenWindowsOnly, Completion completion) {
    const WindowSelection selection{excludingDesktopWindows, onScreenWindowsOnly};
    support::startBackgroundThread("x11-query", [selection, name = displayName_,
                                                 directory = directory_,
                                                 completion = std::move(completion)] {
        std::exception_ptr error;
        ShareableContent content;
        try {
            const Connection connection(name);
            auto displays = listMonitors(connection).displays;
            content = windowsAndApplications(surveyWindows(connection), selection, *directory);
            content.displays = std::move(displays);
        } catch (...) {
            error = std::current_exception();
            content = {};
        }
        completion(error, std::move(content));
    }).detach();
}

}  // namespace quorvane::platform::x11
