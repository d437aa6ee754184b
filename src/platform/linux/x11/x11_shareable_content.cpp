#include "platform/linux/x11/x11_shareable_content.h"

#include <chrono>
#include <utility>

#include "platform/linux/patient_query.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/monitors.h"
#include "platform/linux/x11/window_list.h"
#include "platform/linux/x11/window_survey.h"
#include "platform/linux/x11/x11_error.h"
#include "support/background_thread.h"

namespace quorvane::platform::x11 {
namespace {

constexpr auto displayPatience = std::chrono::seconds(2);

}  // namespace

X11ShareableContent::X11ShareableContent(std::shared_ptr<ApplicationDirectory> directory,
                                         std::string displayName,
                                         std::chrono::milliseconds patience)
    : directory_(std::move(directory)), displayName_(std::move(displayName)), patience_(patience) {}

std::uint32_t X11ShareableContent::mainDisplayID() {
    return askPatiently("x11-query", displayPatience, std::uint32_t(0), [name = displayName_] {
        return listMonitors(Connection(name)).mainDisplayID;
    });
}

void X11ShareableContent::getShareableContent(bool excludingDesktopWindows,
                                              bool onScreenWindowsOnly, Completion completion) {
    struct Answer {
        std::exception_ptr error;
        ShareableContent content;
    };
    const WindowSelection selection{excludingDesktopWindows, onScreenWindowsOnly};
    auto ask = [selection, name = displayName_, directory = directory_] {
        Answer answer;
        try {
            const Connection connection(name);
            auto displays = listMonitors(connection).displays;
            answer.content =
                windowsAndApplications(surveyWindows(connection), selection, *directory);
            answer.content.displays = std::move(displays);
        } catch (...) {
            answer = {.error = std::current_exception(), .content = {}};
        }
        return answer;
    };
    support::startBackgroundThread("x11-content", [ask = std::move(ask), patience = patience_,
                                                   completion = std::move(completion)]() mutable {
        const Answer silent{.error = std::make_exception_ptr(
                                x11Error(Failure::serverSilent, "The X server does not answer.")),
                            .content = {}};
        auto answer = askPatiently("x11-query", patience, silent, std::move(ask));
        completion(answer.error, std::move(answer.content));
    }).detach();
}

}  // namespace quorvane::platform::x11
