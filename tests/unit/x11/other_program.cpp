#include "unit/x11/other_program.h"

#include <csignal>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "unit/x11/x_client.h"

namespace quorvane::platform::x11 {
namespace {

void send(int descriptor, std::uint32_t number) {
    EXPECT_EQ(write(descriptor, &number, sizeof number), ssize_t{sizeof number});
}

std::uint32_t receive(int descriptor) {
    std::uint32_t number = 0;
    return read(descriptor, &number, sizeof number) == ssize_t{sizeof number} ? number : 0;
}

}  // namespace

OtherProgram::OtherProgram(const XServer& server, const PixelRect& rect, std::uint32_t pixel,
                           const PixelRect& frame, std::uint32_t framePixel) {
    int commands[2];
    int answers[2];
    if (pipe(commands) != 0 || pipe(answers) != 0) {
        ADD_FAILURE() << "no pipe";
        return;
    }
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        XClient client(server.displayName());
        const std::uint32_t window = client.openWindow(rect, pixel);
        const std::uint32_t made = frame.isEmpty() ? 0 : client.openWindow(frame, framePixel);
        send(answers[1], window);
        send(answers[1], made);
        for (std::uint32_t colour = 1; receive(commands[0]) != 0; ++colour) {
            client.fillWindow(window, {0, 0, rect.width, rect.height}, colour * 0x102030);
            send(answers[1], 1);
        }
        _exit(0);
    }
    close(commands[0]);
    close(answers[1]);
    commands_ = commands[1];
    answers_ = answers[0];
    window_ = receive(answers_);
    frame_ = receive(answers_);
    EXPECT_NE(window_, 0u) << "the other program did not start";
}

OtherProgram::~OtherProgram() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    close(commands_);
    close(answers_);
}

void OtherProgram::draw() const {
    send(commands_, 1);
    EXPECT_EQ(receive(answers_), 1u);
}

}  // namespace quorvane::platform::x11
