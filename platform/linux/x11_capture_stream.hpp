#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "base/descriptor.hpp"
#include "platform/capture.hpp"
#include "platform/linux/picture_grid.hpp"
#include "platform/linux/picture_ring.hpp"
#include "platform/linux/planar_conversion.hpp"
#include "platform/linux/x11_cursor_overlay.hpp"
#include "platform/linux/x11_grabber.hpp"

namespace quillon {

/// A running capture of one X11 display, with a thread that sleeps until the screen changes.
///
///     damage report ──▶ not before `grid_` says ──▶ `ready`, room in the ring? ──▶ fetch, convert, hand over
///                         (frame rate)          no: ask again in 4 ms
class X11CaptureStream : public CaptureStream {
  public:
    /// Throws CaptureFailure.
    X11CaptureStream(std::unique_ptr<X11Connection> connection, const CaptureRequest& request,
                     CaptureCallbacks callbacks);
    ~X11CaptureStream() override;

    void stop() override;
    void requestPicture() override;

  private:
    using Clock = std::chrono::steady_clock;

    void run();
    std::optional<std::string> takeEvents();
    void followDisplay();
    std::optional<Clock::duration> step();
    std::optional<Clock::duration> rest(Clock::time_point now);
    void deliver(Clock::time_point now);
    void wait(std::optional<Clock::duration> limit) const;
    void wake() const;

    // constant after construction
    const CaptureRequest request_;
    const CaptureCallbacks callbacks_;
    const std::unique_ptr<X11Connection> connection_;

    // capture thread only, once it runs
    PixelRect place_;  ///< of the display, on the root window
    X11Grabber grabber_;
    std::optional<X11CursorOverlay> cursor_;  ///< when the pointer shall be in the pictures
    std::optional<PlanarConverter> converter_;
    PictureRing ring_;
    PictureGrid grid_;
    bool isChanged_ = true;  ///< the screen differs from the newest picture
    bool isAllChanged_ = true;
    bool isWanted_ = false;                          ///< the newest picture was asked for
    Clock::time_point changedAt_;                    ///< when the screen began to differ
    std::optional<Clock::time_point> missingSince_;  ///< the display was active then for the last time

    const Descriptor wake_;  ///< eventfd
    std::atomic<bool> isStopping_ = false;
    std::atomic<bool> isRequested_ = false;
    std::thread thread_;
};

}  // namespace quillon
