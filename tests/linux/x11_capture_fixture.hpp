#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/linux/x11_capture.hpp"
#include "tests/linux/x11_fixture.hpp"

namespace quillon::testing {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

inline constexpr auto kLimit = 10s;

struct Yuv {
    int y, u, v;
    bool operator==(const Yuv&) const = default;
    friend void PrintTo(const Yuv& c, std::ostream* out) { *out << c.y << "," << c.u << "," << c.v; }
};

inline Yuv at(const Picture& picture, int x, int y) {
    const auto sample = [&](int plane, int px, int py) {
        return picture.planes[plane].data[py * picture.planes[plane].stride + px];
    };
    return {sample(0, x, y), sample(1, x / 2, y / 2), sample(2, x / 2, y / 2)};
}

inline bool near(const Yuv& a, const Yuv& b) {
    return std::abs(a.y - b.y) <= 2 && std::abs(a.u - b.u) <= 2 && std::abs(a.v - b.v) <= 2;
}

// BT.601, limited range.
inline constexpr uint32_t kRed = 0xFF0000, kGreen = 0x00FF00, kBlue = 0x0000FF, kWhite = 0xFFFFFF, kBlack = 0;
inline const Yuv kRedYuv{82, 90, 240}, kGreenYuv{145, 54, 34}, kBlueYuv{41, 240, 110},
    kWhiteYuv{235, 128, 128}, kBlackYuv{16, 128, 128};

/// Receives a stream's pictures and waits for them.
class Receiver {
  public:
    CaptureCallbacks callbacks() {
        return {[this] {
                    const std::lock_guard guard(lock_);
                    ++asked_;
                    changed_.notify_all();
                    return ready_;
                },
                [this](PicturePtr picture) {
                    const std::lock_guard guard(lock_);
                    ++count_;
                    latest_ = std::move(picture);
                    damage_.insert(damage_.end(), latest_->damage.begin(), latest_->damage.end());
                    times_.push_back(Clock::now());
                    changed_.notify_all();
                },
                [this](std::string reason) {
                    const std::lock_guard guard(lock_);
                    end_ = std::move(reason);
                    changed_.notify_all();
                }};
    }

    template <typename Predicate>
    bool waitUntil(Predicate predicate, Clock::duration limit = kLimit) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, limit, predicate);
    }
    bool waitForCount(int count, Clock::duration limit = kLimit) {
        return waitUntil([&] { return count_ >= count; }, limit);
    }
    bool waitForColor(int x, int y, const Yuv& color) {
        return waitUntil([&] { return latest_ && x < latest_->width && near(at(*latest_, x, y), color); });
    }
    std::string waitForEnd() {
        waitUntil([&] { return !end_.empty(); });
        const std::lock_guard guard(lock_);
        return end_;
    }
    void setReady(bool ready) {
        const std::lock_guard guard(lock_);
        ready_ = ready;
    }
    PicturePtr latest() {
        const std::lock_guard guard(lock_);
        return latest_;
    }
    std::vector<PixelRect> takeDamage() {
        const std::lock_guard guard(lock_);
        return std::exchange(damage_, {});
    }
    void forget() {
        const std::lock_guard guard(lock_);
        count_ = 0;
        latest_.reset();
    }
    int count() {
        const std::lock_guard guard(lock_);
        return count_;
    }
    int asked() {
        const std::lock_guard guard(lock_);
        return asked_;
    }
    bool waitUntilAsked(int times) {
        return waitUntil([&] { return asked_ >= times; });
    }
    std::vector<Clock::time_point> times() {
        const std::lock_guard guard(lock_);
        return times_;
    }

  private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool ready_ = true;
    int asked_ = 0;
    int count_ = 0;
    PicturePtr latest_;
    std::vector<PixelRect> damage_;
    std::vector<Clock::time_point> times_;
    std::string end_;
};

class X11CaptureTest : public X11Test {
  protected:
    /// The main display, 1920x1080, unscaled unless told.
    CaptureRequest request(Size output = {1920, 1080}, int fps = 60) {
        CaptureRequest request;
        request.display = capture_.shareableDisplays().at(0).id;
        request.output = output;
        request.fps = fps;
        return request;
    }
    void start(const CaptureRequest& request) {
        stream_ = capture_.start(request, receiver_.callbacks());
        ASSERT_TRUE(receiver_.waitForCount(1));
    }
    void TearDown() override { stream_.reset(); }

    X11Capture capture_;
    Receiver receiver_;
    std::unique_ptr<CaptureStream> stream_;
};

}  // namespace quillon::testing
