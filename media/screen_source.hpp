#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/geometry.hpp"
#include "base/stream_types.hpp"
#include "base/time.hpp"
#include "platform/capture.hpp"
#include "platform/displays.hpp"
#include "platform/run_loop.hpp"
#include "platform/task.hpp"
#include "platform/threads.hpp"

namespace quillon {

/// The centred part of a display (`bounds`, points) that has the shape of `output`, relative to the
/// display's corner. Nothing when both have the same shape (or one has none): then the whole is fitted.
std::optional<PixelRect> fillCrop(const Rect& bounds, Size output);

/// Captures one display and hands each picture with its time to `onFrame`: as it comes, or paced, when
/// only the newest is kept and a timer on the main thread hands it over at the frame rate.
///
/// Started once. Everything but `requestPicture` and the counters belongs to the main thread; a source
/// that is destroyed while it captures stops in the background.
class ScreenSource : public std::enable_shared_from_this<ScreenSource> {
  public:
    /// The display is not there; the description is the message.
    class CaptureError : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    struct StartRequest {
        std::optional<DisplayID> displayID;
        int displayIndex = 0;  ///< in the system's list; counts when there is no identifier
        int width = 0;         ///< output pixels, even
        int height = 0;        ///< output pixels, even
        int fps = 30;
        bool showCursor = false;
        Scaling scaling = Scaling::fit;
        Instant timeBase;  ///< origin of the frames' times
        bool pace = false;
    };

    /// All services outlive the source and its tasks.
    static std::shared_ptr<ScreenSource> make(RunLoop& loop, Threads& threads, Capture& capture,
                                              Displays& displays);
    ~ScreenSource();
    ScreenSource(const ScreenSource&) = delete;
    ScreenSource& operator=(const ScreenSource&) = delete;

    // Set before `start`.
    /// A picture and when it was captured, in microseconds since the time base. On the capture's thread,
    /// or on the main thread when paced.
    std::function<void(PicturePtr, uint64_t microseconds)> onFrame;
    /// May a picture be taken now? On the capture's thread, before each picture. Empty means always.
    std::function<bool()> ready;
    /// Capture ended by itself, in words for the user. On the main thread, not after `stop`.
    std::function<void(std::string)> onEnd;

    /// Ends when capture runs. Throws CaptureError or the platform's CaptureFailure. Destroying the task
    /// half-way leaves nothing running; one that is stopped meanwhile soon ends, in either way.
    static Task<> start(std::shared_ptr<ScreenSource> source, StartRequest request);

    /// Ends when no frame comes any more. Never fails.
    static Task<> stop(std::shared_ptr<ScreenSource> source);

    /// Asks for the newest picture once more, changed or not, as soon as `ready` allows. Any thread.
    void requestPicture();

    /// Pictures received from the platform. Any thread.
    int64_t frameCount() const;
    /// Pictures handed over by the pacing timer. Main thread.
    int64_t emitted() const { return emitted_; }
    /// Pictures replaced in the slot before the timer took them. Any thread.
    int64_t dropped() const;

  private:
    class Receiver;
    class StreamHolder;

    ScreenSource(RunLoop& loop, Threads& threads, Capture& capture, Displays& displays);
    CaptureCallbacks callbacks();
    void abandonStream();
    void startPacing(int fps);
    void emitLatest();

    RunLoop& loop_;
    Threads& threads_;
    Capture& capture_;
    Displays& displays_;
    const std::shared_ptr<Receiver> receiver_;
    const std::shared_ptr<StreamHolder> holder_;

    // main thread only
    std::unique_ptr<Timer> paceTimer_;
    int64_t emitted_ = 0;
};

}  // namespace quillon
