// The port to the bubble's window. What it is to look like and how it is to behave is one record,
// which the rules fill and the platform obeys.
// Units: points; rectangles on the screen have their origin at the lower left of the main screen,
// y upwards.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/camera_session.h"
#include "support/geometry.h"

namespace quorvane::platform {

struct BubbleColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;
    bool operator==(const BubbleColor&) const = default;
};

inline constexpr BubbleColor clearColor{0, 0, 0, 0};
inline constexpr BubbleColor blackColor{0, 0, 0, 1};

enum class BubbleStyle { borderless, titled };
enum class BubbleBacking { buffered, retained };

// Which spaces (virtual desktops) a window is on and how it goes with full-screen windows: a sum
// of these.
struct CollectionBehavior {
    static constexpr std::uint32_t canJoinAllSpaces = 1;
    static constexpr std::uint32_t stationary = 16;
    static constexpr std::uint32_t fullScreenAuxiliary = 256;
};

enum class VideoGravity {
    resizeAspectFill,  // fills the layer; what is too much is cut off, evenly on both sides
};

// The layer-backed view that fills the window.
struct BubbleContainer {
    support::Rect frame;  // within the window
    bool masksToBounds = false;
    double cornerRadius = 0;
    double borderWidth = 0;  // inside the frame's edge, over what the layer shows
    BubbleColor borderColor;
    BubbleColor backgroundColor;
    bool operator==(const BubbleContainer&) const = default;
};

struct BubblePreview {
    support::Rect frame;  // within the container
    VideoGravity gravity = VideoGravity::resizeAspectFill;
    bool operator==(const BubblePreview&) const = default;
};

struct BubbleWindowProperties {
    support::Rect frame;
    BubbleStyle style = BubbleStyle::titled;
    BubbleBacking backing = BubbleBacking::retained;
    bool isDeferred = true;
    bool isOpaque = true;
    BubbleColor backgroundColor = blackColor;
    bool hasShadow = false;
    int level = 0;  // 0 is an ordinary window, 1000 a screen saver; higher is in front
    bool isMovableByBackground = true;
    std::uint32_t collectionBehavior = 0;
    bool ignoresMouseEvents = false;
    BubbleContainer container;
    std::optional<BubblePreview> preview;
    bool operator==(const BubbleWindowProperties&) const = default;
};

// Threads: the main queue. Nothing blocks. Errors: none; what ends the window ends the
// application's loop.
class BubbleWindow {
  public:
    virtual ~BubbleWindow() = default;
    // Everything changes together, and is shown at once when the window is on the screen. Style,
    // backing and deferral stay those that the window was made with.
    virtual void apply(const BubbleWindowProperties& properties) = 0;
    // The layer that the preview's pictures are drawn in; the same one every time.
    virtual std::shared_ptr<CameraPreviewLayer> previewLayer() = 0;
    // Shows the window in front of the others, whether or not the application is active.
    virtual void orderFrontRegardless() = 0;
    // Takes it off the screen.
    virtual void orderOut() = 0;
};

}  // namespace quorvane::platform
