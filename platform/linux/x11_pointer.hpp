#pragma once

#include <memory>
#include <optional>

#include "base/thread_annotations.hpp"
#include "platform/linux/run_loop.hpp"
#include "platform/linux/x11_outputs.hpp"
#include "platform/pointer.hpp"

namespace quillon {

/// The pointer of the X server that DISPLAY names. Connects when first used and again after the server
/// went away. Motion is told by the server's raw events (XInput 2), so a resting pointer costs nothing
/// but a look twice a second: a program may set the pointer's place, and no event tells of that.
///
/// Posting needs the XTEST extension. Its device has two axes of motion and ten buttons, and no axis that
/// scrolls in finer steps (XInput 2.1), so scrolling is clicks of a wheel, one for each 15 pixels. What is
/// left of an axis waits for the next scroll, however late; a scroll in the other direction forgets it.
class X11Pointer : public Pointer {
  public:
    /// `loop` outlives the pointer and its observations.
    explicit X11Pointer(LinuxRunLoop& loop) : loop_(loop) {}

    std::optional<Point> location() override EXCLUDES(lock_);
    std::unique_ptr<Observation> observeMotion(std::function<void()> onMotion) override;
    void post(Event event, Point place) override EXCLUDES(lock_);
    void postScroll(double vertical, double horizontal) override EXCLUDES(lock_);

  private:
    class MotionObservation;

    /// What is left of scrolling that did not make a whole wheel click.
    struct Wheel {
        double pixels = 0;
        int clicks(double more);
    };

    LinuxRunLoop& loop_;
    Mutex lock_;
    X11DesktopView view_ GUARDED_BY(lock_);
    Wheel vertical_ GUARDED_BY(lock_);
    Wheel horizontal_ GUARDED_BY(lock_);
};

}  // namespace quillon
