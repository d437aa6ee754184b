#include "unit/x11/x_server.h"

#include <csignal>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quorvane::platform::x11 {

XServer::XServer(const std::string& screen, std::vector<std::string> furtherArguments) {
    int ends[2];
    if (pipe(ends) != 0) {
        ADD_FAILURE() << "no pipe";
        return;
    }
    std::vector<std::string> arguments{"Xvfb",      "-displayfd", std::to_string(ends[1]),
                                       "-screen",   "0",          screen,
                                       "-nolisten", "tcp",        "-noreset"};
    for (std::string& argument : furtherArguments)
        arguments.push_back(std::move(argument));
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    close(ends[1]);
    std::string number;
    char byte = 0;
    while (read(ends[0], &byte, 1) == 1 && byte != '\n')
        number += byte;
    close(ends[0]);
    EXPECT_FALSE(number.empty()) << "Xvfb did not start";
    displayName_ = ":" + number;
}

void XServer::kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

void XServer::freeze() {
    ::kill(process_, SIGSTOP);
    waitpid(process_, nullptr, WUNTRACED);
}

void XServer::thaw() {
    ::kill(process_, SIGCONT);
}

}  // namespace quorvane::platform::x11
