#include "media/screen_source.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <utility>

#include "base/log.hpp"
#include "base/text.hpp"
#include "base/thread_annotations.hpp"

namespace quillon {

namespace {

constexpr int kDisplayQueries = 24;
constexpr Duration kDisplayQueryPause = 250ms;
constexpr Duration kPacingTolerance = 2ms;
constexpr int64_t kPacingLogInterval = 150;  // frames
constexpr Duration kFrameLogInterval = 5s;
/// Shapes that differ by less count as equal.
constexpr double kAspectTolerance = 0.01;

std::optional<Capture::Display> chosenDisplay(const std::vector<Capture::Display>& displays,
                                              const ScreenSource::StartRequest& request) {
    if (request.displayID) {
        const auto found = std::ranges::find(displays, *request.displayID, &Capture::Display::id);
        if (found != displays.end()) return *found;
    } else if (request.displayIndex >= 0 && std::cmp_less(request.displayIndex, displays.size())) {
        return displays[static_cast<size_t>(request.displayIndex)];
    }
    return std::nullopt;
}

std::string notFoundMessage(const ScreenSource::StartRequest& request, size_t visible) {
    const std::string wanted = request.displayID ? formatted("displayID %u", *request.displayID)
                                                 : formatted("index %d", request.displayIndex);
    return formatted("%s not found, %zu display(s) visible", wanted.c_str(), visible);
}

/// The platform's request for `request`. Asks for the display's place: not on the main thread.
CaptureRequest captureRequest(const ScreenSource::StartRequest& request, DisplayID display,
                              Displays& displays) {
    CaptureRequest result;
    result.display = display;
    result.output = {request.width, request.height};
    result.fps = std::max(request.fps, 1);
    result.showsCursor = request.showCursor;
    result.preservesAspectRatio = request.scaling != Scaling::stretch;
    if (request.scaling == Scaling::fill) {
        const Rect bounds = displays.bounds(display);
        result.sourceRect = fillCrop(bounds, result.output);
        if (const auto& crop = result.sourceRect) {
            Log::write(formatted("fill: cropping %dx%d at %d,%d of %dx%d", crop->width, crop->height, crop->x,
                                 crop->y, static_cast<int>(bounds.width), static_cast<int>(bounds.height)));
        }
    }
    return result;
}

}  // namespace

std::optional<PixelRect> fillCrop(const Rect& bounds, Size output) {
    if (output.isEmpty() || bounds.width < 1 || bounds.height < 1) return std::nullopt;
    const double target = static_cast<double>(output.width) / output.height;
    const double aspect = bounds.width / bounds.height;
    if (std::abs(target - aspect) < kAspectTolerance) return std::nullopt;
    Rect crop{0, 0, bounds.width, bounds.height};
    if (target >= aspect) {
        crop.height = bounds.width / target;
        crop.y = (bounds.height - crop.height) * 0.5;
    } else {
        crop.width = target * bounds.height;
        crop.x = (bounds.width - crop.width) * 0.5;
    }
    return PixelRect{static_cast<int>(std::lround(crop.x)), static_cast<int>(std::lround(crop.y)),
                     static_cast<int>(std::floor(crop.width)), static_cast<int>(std::floor(crop.height))};
}

/// What the capture's callbacks work on. They own it together with the source, so that the last picture
/// of a source that is being destroyed still finds a receiver.
class ScreenSource::Receiver {
  public:
    explicit Receiver(RunLoop& loop) : loop_(loop), lastLog_(loop.now()) {}

    // Set on the main thread before capture starts.
    std::function<void(PicturePtr, uint64_t)> onFrame;
    std::function<bool()> ready;
    Instant startTime;
    bool paces = false;

    struct Frame {
        PicturePtr picture;
        uint64_t microseconds = 0;
    };

    /// Capture thread.
    void receive(PicturePtr picture) {
        const int64_t count = ++frameCount;
        const Instant now = loop_.now();
        const Size size{picture->width, picture->height};
        Frame frame{std::move(picture), sessionMicroseconds(startTime, now)};
        if (paces) {
            const MutexLock guard(frameLock_);
            if (latest_.picture) ++dropped_;
            std::swap(latest_, frame);
        } else if (onFrame) {
            onFrame(std::move(frame.picture), frame.microseconds);
        }
        if (now - lastLog_ < kFrameLogInterval) return;
        std::printf("[capture] %lld frames captured, buffer %dx%d\n", static_cast<long long>(count),
                    size.width, size.height);
        lastLog_ = now;
    }

    /// Main thread.
    Frame takeLatest() {
        const MutexLock guard(frameLock_);
        return std::exchange(latest_, {});
    }

    int64_t dropped() {
        const MutexLock guard(frameLock_);
        return dropped_;
    }

    std::atomic<int64_t> frameCount = 0;

  private:
    RunLoop& loop_;
    Instant lastLog_;  ///< capture thread
    Mutex frameLock_;
    Frame latest_ GUARDED_BY(frameLock_);
    int64_t dropped_ GUARDED_BY(frameLock_) = 0;
};

/// The running stream, shared with the background work that starts and stops it. Whoever comes last
/// finds it: a stream whose source was given up while it was starting ends where it was made.
class ScreenSource::StreamHolder {
  public:
    /// Background.
    void put(std::unique_ptr<CaptureStream> stream) {
        const MutexLock guard(lock_);
        if (!isGivenUp_) std::swap(stream_, stream);
        // A refused stream ends with `stream`, after the lock is free.
    }

    /// Takes the stream out; none comes in after it.
    std::unique_ptr<CaptureStream> giveUp() {
        const MutexLock guard(lock_);
        isGivenUp_ = true;
        return std::move(stream_);
    }

    bool isGivenUp() {
        const MutexLock guard(lock_);
        return isGivenUp_;
    }

    void requestPicture() {
        const MutexLock guard(lock_);
        if (stream_) stream_->requestPicture();
    }

  private:
    Mutex lock_;
    std::unique_ptr<CaptureStream> stream_ GUARDED_BY(lock_);
    bool isGivenUp_ GUARDED_BY(lock_) = false;
};

std::shared_ptr<ScreenSource> ScreenSource::make(RunLoop& loop, Threads& threads, Capture& capture,
                                                 Displays& displays) {
    return std::shared_ptr<ScreenSource>(new ScreenSource(loop, threads, capture, displays));
}

ScreenSource::ScreenSource(RunLoop& loop, Threads& threads, Capture& capture, Displays& displays)
    : loop_(loop),
      threads_(threads),
      capture_(capture),
      displays_(displays),
      receiver_(std::make_shared<Receiver>(loop)),
      holder_(std::make_shared<StreamHolder>()) {}

ScreenSource::~ScreenSource() {
    abandonStream();
}

void ScreenSource::abandonStream() {
    // Ending a stream waits for its thread, which the main thread must not.
    if (std::shared_ptr<CaptureStream> stream = holder_->giveUp()) {
        threads_.runConcurrently([stream = std::move(stream)] { stream->stop(); });
    }
}

CaptureCallbacks ScreenSource::callbacks() {
    receiver_->onFrame = onFrame;
    receiver_->ready = ready;
    CaptureCallbacks callbacks;
    callbacks.ready = [receiver = receiver_] { return !receiver->ready || receiver->ready(); };
    callbacks.onPicture = [receiver = receiver_](PicturePtr picture) {
        receiver->receive(std::move(picture));
    };
    callbacks.onEnd = [&loop = loop_, weak = weak_from_this()](std::string reason) {
        loop.post([weak, reason = std::move(reason)]() mutable {
            const auto source = weak.lock();
            if (source && source->onEnd && !source->holder_->isGivenUp()) source->onEnd(std::move(reason));
        });
    };
    return callbacks;
}

Task<> ScreenSource::start(std::shared_ptr<ScreenSource> source, StartRequest request) {
    source->receiver_->paces = request.pace;
    source->receiver_->startTime = request.timeBase;
    RunLoop& loop = source->loop_;
    Capture& capture = source->capture_;
    // A start that does not get to its end gives up what it began.
    struct Unwinding {
        ScreenSource* source;
        ~Unwinding() {
            if (source != nullptr) source->abandonStream();
        }
    } unwinding{source.get()};

    std::optional<Capture::Display> display;
    size_t visible = 0;
    for (int query = 0; query < kDisplayQueries; ++query) {
        auto listing =
            inBackground(loop, source->threads_, [&capture] { return capture.shareableDisplays(); });
        const auto listed = co_await listing;
        visible = listed.size();
        display = chosenDisplay(listed, request);
        if (display || source->holder_->isGivenUp()) break;
        co_await loop.sleep(kDisplayQueryPause);
    }
    if (!display) throw CaptureError(notFoundMessage(request, visible));

    auto starting = inBackground(
        loop, source->threads_,
        [&capture, &displays = source->displays_, request, id = display->id, holder = source->holder_,
         callbacks = source->callbacks()]() mutable {
            holder->put(capture.start(captureRequest(request, id, displays), std::move(callbacks)));
        });
    co_await starting;
    unwinding.source = nullptr;
    if (request.pace && !source->holder_->isGivenUp()) source->startPacing(request.fps);
    std::printf("[capture] display %u %dx%d → %dx%d@%d\n", display->id, display->size.width,
                display->size.height, request.width, request.height, request.fps);
}

Task<> ScreenSource::stop(std::shared_ptr<ScreenSource> source) {
    source->paceTimer_.reset();
    if (std::shared_ptr<CaptureStream> stream = source->holder_->giveUp()) {
        auto stopping = inBackground(source->loop_, source->threads_, [stream = std::move(stream)]() mutable {
            stream->stop();
            stream.reset();
        });
        co_await stopping;
    }
}

void ScreenSource::requestPicture() {
    holder_->requestPicture();
}

int64_t ScreenSource::frameCount() const {
    return receiver_->frameCount;
}

int64_t ScreenSource::dropped() const {
    return receiver_->dropped();
}

void ScreenSource::startPacing(int fps) {
    paceTimer_ = loop_.addTimer(
        seconds(1.0 / std::max(fps, 1)), RunLoop::Repeat::forever, [this] { emitLatest(); },
        kPacingTolerance);
}

void ScreenSource::emitLatest() {
    const Receiver::Frame frame = receiver_->takeLatest();
    if (!frame.picture) return;
    ++emitted_;
    if (onFrame) onFrame(frame.picture, frame.microseconds);
    if (emitted_ % kPacingLogInterval == 0) {
        Log::write(formatted("pacing: emitted=%lld dropped=%lld", static_cast<long long>(emitted_),
                             static_cast<long long>(dropped())));
    }
}

}  // namespace quillon
