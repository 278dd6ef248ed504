#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/displays.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// Why capture cannot be had, in words for the user.
class CaptureFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct CaptureRequest {
    DisplayID display = 0;
    Size output;  ///< pixels, both even
    int fps = 30;
    bool showsCursor = false;
    /// Without a source rectangle the whole display is scaled to the output: keeping its shape with
    /// black bars, or distorted. With one (points, relative to the display) that part fills it.
    bool preservesAspectRatio = true;
    std::optional<PixelRect> sourceRect;
};

/// Called on the capture's own thread, one call at a time; none may block for long or stop the stream.
struct CaptureCallbacks {
    /// May a picture be taken now? Asked before each one. After a "no" the change is kept and the
    /// question repeated until the newest picture could be handed over.
    std::function<bool()> ready;
    /// A new, complete picture.
    std::function<void(PicturePtr)> onPicture;
    /// Capture ended by itself (display or display server gone); nothing follows. In words for the user.
    std::function<void(std::string)> onEnd;
};

/// A running capture.
class CaptureStream {
  public:
    /// Stops, if `stop` did not. After either returns no callback runs.
    virtual ~CaptureStream() = default;
    /// Blocks until no callback runs any more. Not from a callback, not on the main thread.
    virtual void stop() = 0;
    /// Hands over the newest picture once more as soon as `ready` says so, changed or not. Any thread,
    /// also from a callback.
    virtual void requestPicture() = 0;
};

/// Captures displays. Both calls may block and do not run on the main thread.
class Capture {
  public:
    struct Display {
        DisplayID id = 0;
        Size size;  ///< points
    };

    virtual ~Capture() = default;

    /// What can be captured, in the system's order. Throws CaptureFailure when nothing can.
    virtual std::vector<Display> shareableDisplays() = 0;

    /// Begins: a full picture first, then one whenever the display changes, at most `fps` a second.
    /// Throws CaptureFailure.
    virtual std::unique_ptr<CaptureStream> start(const CaptureRequest& request,
                                                 CaptureCallbacks callbacks) = 0;
};

}  // namespace quillon
