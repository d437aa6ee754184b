// A connection to an X server and what it says of the screen.
// Threads: one at a time, but for XCB's own locking. Errors: PlatformError when there is no server.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct xcb_connection_t;
struct xcb_extension_t;
struct xcb_query_extension_reply_t;
struct xcb_screen_t;

namespace quorvane::platform::x11 {

class Connection {
  public:
    // An empty name means the environment's display. Blocks until the server answers.
    explicit Connection(const std::string& displayName);

    xcb_connection_t* xcb() const { return connection_.get(); }
    const xcb_screen_t& screen() const { return *screen_; }
    int screenNumber() const { return screenNumber_; }
    std::uint32_t root() const;
    int descriptor() const;
    // Whether server and client share memory and can pass descriptors.
    bool isLocal() const;
    // Throws PlatformError when the server lacks the extension.
    const xcb_query_extension_reply_t& extension(xcb_extension_t& id, const char* name) const;
    bool has(xcb_extension_t& id) const;
    // Throws PlatformError when the connection is lost.
    void throwIfLost() const;

  private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const noexcept;
    };

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_screen_t* screen_ = nullptr;
    int screenNumber_ = 0;
};

}  // namespace quorvane::platform::x11
