// A private X server without hardware, for the tests of one fixture.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace quorvane::platform::x11 {

class XServer {
  public:
    // The screen as the server's option takes it: "640x480x24". Fails the test when the server
    // does not start. It ends with this process at the latest.
    explicit XServer(const std::string& screen, std::vector<std::string> furtherArguments = {});
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;
    ~XServer() { kill(); }

    const std::string& displayName() const { return displayName_; }
    void kill();
    // It answers nothing until thaw().
    void freeze();
    void thaw();

  private:
    pid_t process_ = -1;
    std::string displayName_;
};

}  // namespace quorvane::platform::x11
