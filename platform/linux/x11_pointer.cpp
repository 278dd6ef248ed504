#include "platform/linux/x11_pointer.hpp"

#include <fcntl.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/descriptor.hpp"

namespace quillon {

namespace {

constexpr Duration kLookInterval = 500ms;
constexpr Duration kLookTolerance = 100ms;
constexpr double kPixelsPerClick = 15;
constexpr double kMostPixels = 100 * kPixelsPerClick;  // in one event: far beyond any finger

constexpr uint8_t kLeftButton = 1;
constexpr uint8_t kWheelUp = 4, kWheelDown = 5, kWheelLeft = 6, kWheelRight = 7;

struct RootPlace {
    int x = 0;
    int y = 0;
    bool operator==(const RootPlace&) const = default;
};

std::optional<RootPlace> pointerPlace(const X11Connection& connection) {
    const auto cookie = xcb_query_pointer(connection.get(), connection.root());
    const auto reply = owned(xcb_query_pointer_reply(connection.get(), cookie, nullptr));
    if (!reply) return std::nullopt;
    return RootPlace{reply->root_x, reply->root_y};
}

/// Raw motion of the master pointer; false when the server has no XInput 2.
bool selectRawMotion(const X11Connection& connection) {
    if (connection.extension(xcb_input_id) == nullptr) return false;
    xcb_connection_t* c = connection.get();
    const auto cookie = xcb_input_xi_query_version(c, 2, 0);
    const auto version = owned(xcb_input_xi_query_version_reply(c, cookie, nullptr));
    if (!version || version->major_version < 2) return false;
    const struct {
        xcb_input_event_mask_t head;
        uint32_t mask;
    } events{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
    xcb_input_xi_select_events(c, connection.root(), 1, &events.head);
    xcb_flush(c);
    return true;
}

bool canPost(const X11Connection& connection) {
    return connection.extension(xcb_test_id) != nullptr;
}

void fake(const X11Connection& connection, uint8_t type, uint8_t detail, int x, int y) {
    xcb_test_fake_input(connection.get(), type, detail, XCB_CURRENT_TIME, connection.root(),
                        static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
}

void click(const X11Connection& connection, uint8_t button, int times) {
    for (int i = 0; i < times; ++i) {
        fake(connection, XCB_BUTTON_PRESS, button, 0, 0);
        fake(connection, XCB_BUTTON_RELEASE, button, 0, 0);
    }
}

/// Root coordinates have 16 bits.
int rootCoordinate(double place, int origin) {
    constexpr double kLimit = 32767;
    const double value = std::floor(place) + origin;
    return std::isfinite(value) ? static_cast<int>(std::clamp(value, -kLimit, kLimit)) : 0;
}

}  // namespace

/// Watches a connection of its own, and looks for a new server when that ended. Main thread.
class X11Pointer::MotionObservation : public Pointer::Observation {
  public:
    MotionObservation(LinuxRunLoop& loop, std::function<void()> onMotion)
        : loop_(loop),
          onMotion_(std::move(onMotion)),
          lookTimer_(loop.addTimer(
              kLookInterval, RunLoop::Repeat::forever, [this] { look(); }, kLookTolerance)) {
        connect();
    }
    MotionObservation(const MotionObservation&) = delete;
    MotionObservation& operator=(const MotionObservation&) = delete;

  private:
    void connect() {
        if (reopened(connection_) == nullptr) return;
        lastPlace_ = pointerPlace(*connection_);
        if (!selectRawMotion(*connection_)) return;
        // XCB closes its descriptor when the server ends, and a watched one must outlive its watch.
        descriptor_ = Descriptor(fcntl(connection_->descriptor(), F_DUPFD_CLOEXEC, 0));
        if (descriptor_.isOpen()) watch_ = loop_.watchReadable(descriptor_.get(), [this] { takeEvents(); });
    }

    void disconnect() {
        watch_.reset();
        descriptor_.close();
        connection_.reset();
    }

    /// However many events there are, they are one motion.
    void takeEvents() {
        bool moved = false;
        while (connection_->pollEvent()) moved = true;
        if (!connection_->isAlive()) {
            disconnect();
        } else if (moved) {
            tell();
        }
    }

    void look() {
        if (!connection_) {
            connect();
            return;
        }
        const auto place = pointerPlace(*connection_);
        if (!place) {
            disconnect();
        } else if (std::exchange(lastPlace_, place) != place) {
            tell();
        }
    }

    /// The owner may destroy the observation from inside, so this comes last.
    void tell() {
        const auto onMotion = onMotion_;
        onMotion();
    }

    LinuxRunLoop& loop_;
    const std::function<void()> onMotion_;
    const std::unique_ptr<Timer> lookTimer_;
    std::unique_ptr<X11Connection> connection_;
    Descriptor descriptor_;                       ///< a duplicate of the connection's
    std::unique_ptr<LinuxRunLoop::Watch> watch_;  ///< before the descriptor it watches goes
    std::optional<RootPlace> lastPlace_;
};

std::optional<Point> X11Pointer::location() {
    const MutexLock guard(lock_);
    const PixelRect origin = view_.desktop().mainPlace();
    X11Connection* connection = view_.connection();
    if (connection == nullptr) return std::nullopt;
    const auto place = pointerPlace(*connection);
    if (!place) return std::nullopt;
    return Point{static_cast<double>(place->x - origin.x), static_cast<double>(place->y - origin.y)};
}

std::unique_ptr<Pointer::Observation> X11Pointer::observeMotion(std::function<void()> onMotion) {
    return std::make_unique<MotionObservation>(loop_, std::move(onMotion));
}

void X11Pointer::post(Event event, Point place) {
    const MutexLock guard(lock_);
    const PixelRect origin = view_.desktop().mainPlace();
    X11Connection* connection = view_.connection();
    if (connection == nullptr || !canPost(*connection)) return;
    fake(*connection, XCB_MOTION_NOTIFY, 0, rootCoordinate(place.x, origin.x),
         rootCoordinate(place.y, origin.y));
    if (event == Event::press) fake(*connection, XCB_BUTTON_PRESS, kLeftButton, 0, 0);
    if (event == Event::release) fake(*connection, XCB_BUTTON_RELEASE, kLeftButton, 0, 0);
    xcb_flush(connection->get());
}

int X11Pointer::Wheel::clicks(double more) {
    more = std::clamp(more, -kMostPixels, kMostPixels);
    // Turning back does not first have to undo what is left of the other direction.
    if (more * pixels < 0) pixels = 0;
    pixels += more;
    const int whole = static_cast<int>(pixels / kPixelsPerClick);
    pixels -= whole * kPixelsPerClick;
    return whole;
}

void X11Pointer::postScroll(double vertical, double horizontal) {
    const MutexLock guard(lock_);
    X11Connection* connection = view_.connection();
    if (connection == nullptr || !canPost(*connection)) return;
    const int up = vertical_.clicks(vertical);
    const int left = horizontal_.clicks(horizontal);
    click(*connection, up > 0 ? kWheelUp : kWheelDown, std::abs(up));
    click(*connection, left > 0 ? kWheelLeft : kWheelRight, std::abs(left));
    xcb_flush(connection->get());
}

}  // namespace quillon
