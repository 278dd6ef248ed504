#include "platform/linux/x11_virtual_displays.hpp"

#include <xcb/randr.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/linux/display_guardian.hpp"
#include "platform/linux/x11_outputs.hpp"
#include "platform/linux/x11_own_outputs.hpp"
#include "platform/linux/x11_spare_output.hpp"

namespace quillon {

namespace {

Size sizeOf(const VideoTiming& timing) {
    return {timing.across.visible, timing.down.visible};
}

/// The modes asked for that can be, each size once.
std::vector<VideoTiming> timingsOf(const VirtualDisplayRequest& request) {
    std::vector<VideoTiming> timings;
    for (const Size size : request.modes) {
        if (size.width > request.maxPixels.width || size.height > request.maxPixels.height) continue;
        const auto timing = videoTiming(size, request.refreshRate);
        if (timing && std::ranges::count(timings, *timing) == 0) timings.push_back(*timing);
    }
    return timings;
}

Edid edidFor(const VirtualDisplayRequest& request, const VideoTiming& preferred) {
    return edidOf({VirtualMonitor::kIdentity, VirtualMonitor::kSerial, request.name,
                   VirtualMonitor::kWidthMillimetres, VirtualMonitor::kHeightMillimetres, preferred,
                   request.refreshRate});
}

/// The outputs that can become a virtual display, the most suitable first.
std::vector<X11Screen::Output> spareOutputs(const X11OwnOutputs& own, const X11Screen& screen) {
    const std::vector<bool> haveEdid = own.haveEdid(screen.outputs);
    std::vector<std::pair<SpareRank, X11Screen::Output>> spare;
    for (size_t i = 0; i < screen.outputs.size(); ++i) {
        const X11Screen::Output& output = screen.outputs[i];
        const bool isOn = screen.layout.crtcOf(output.id) != nullptr;
        const bool hasFreeCrtc = screen.layout.freeCrtc(output.crtcs) != nullptr;
        const auto rank = spareRank({output.name, isOn, output.connected, haveEdid[i], hasFreeCrtc});
        if (rank) spare.emplace_back(*rank, output);
    }
    std::ranges::stable_sort(spare, {}, [](const auto& each) { return each.first; });
    std::vector<X11Screen::Output> outputs;
    for (auto& [rank, output] : spare) outputs.push_back(std::move(output));
    return outputs;
}

xcb_randr_create_mode_cookie_t askForMode(const X11Connection& connection, const std::string& name,
                                          const VideoTiming& timing) {
    xcb_randr_mode_info_t info{};
    info.width = timing.across.visible;
    info.height = timing.down.visible;
    info.dot_clock = timing.pixelClock;
    info.hsync_start = timing.across.syncBegin;
    info.hsync_end = timing.across.syncEnd;
    info.htotal = timing.across.total;
    info.vsync_start = timing.down.syncBegin;
    info.vsync_end = timing.down.syncEnd;
    info.vtotal = timing.down.total;
    info.name_len = static_cast<uint16_t>(name.size());
    info.mode_flags = XCB_RANDR_MODE_FLAG_HSYNC_POSITIVE | XCB_RANDR_MODE_FLAG_VSYNC_NEGATIVE;
    return xcb_randr_create_mode(connection.get(), connection.root(), info, info.name_len, name.data());
}

/// Modes of our own on the output, without those that the server refuses. Each step asks for all of them
/// before it waits.
std::vector<X11Screen::Mode> addModes(const X11Connection& connection, uint32_t output,
                                      const std::vector<VideoTiming>& timings) {
    xcb_connection_t* c = connection.get();
    std::vector<std::pair<X11Screen::Mode, xcb_randr_create_mode_cookie_t>> asked;
    for (const VideoTiming& timing : timings) {
        const X11Screen::Mode mode{0, ownModeName(output, sizeOf(timing)), sizeOf(timing)};
        asked.emplace_back(mode, askForMode(connection, mode.name, timing));
    }
    std::vector<std::pair<X11Screen::Mode, xcb_void_cookie_t>> created;
    for (auto& [mode, cookie] : asked) {
        const auto reply = owned(xcb_randr_create_mode_reply(c, cookie, nullptr));
        if (!reply) continue;
        mode.id = reply->mode;
        created.emplace_back(mode, xcb_randr_add_output_mode_checked(c, output, mode.id));
    }
    std::vector<X11Screen::Mode> added;
    for (auto& [mode, cookie] : created) {
        if (!owned(xcb_request_check(c, cookie))) added.push_back(std::move(mode));
    }
    return added;
}

/// The layout with the output right of the main display, in this mode.
X11Layout withDisplay(const X11Screen& screen, const X11Screen::Output& output, const X11Screen::Mode& mode) {
    const X11Desktop desktop = desktopOf(screen);
    std::vector<PixelRect> places;
    for (const X11Output& each : desktop.outputs) places.push_back(each.place);
    const PixelRect main = desktop.mainPlace();
    const PixelRect wanted{main.right(), main.y, mode.size.width, mode.size.height};
    X11Layout layout = screen.layout;
    X11Crtc& crtc = *layout.freeCrtc(output.crtcs);
    crtc = {crtc.id, clearOfOthers(wanted, main, places), mode.id, XCB_RANDR_ROTATION_ROTATE_0, {output.id}};
    layout.settle();
    return layout;
}

bool enable(const X11Connection& connection, const X11OwnOutputs& own, const X11Screen& screen,
            const X11Screen::Output& output, const VirtualDisplayRequest& request,
            const std::vector<VideoTiming>& timings) {
    const std::vector<X11Screen::Mode> modes = addModes(connection, output.id, timings);
    own.declare(output.id, screen, edidFor(request, timings.front()),
                {static_cast<int>(std::lround(VirtualMonitor::kWidthMillimetres)),
                 static_cast<int>(std::lround(VirtualMonitor::kHeightMillimetres))});
    return std::ranges::any_of(modes, [&](const X11Screen::Mode& mode) {
        return reconfigure(connection, screen, withDisplay(screen, output, mode));
    });
}

/// Never mapped: that it exists is all it is for.
xcb_window_t makeHolderWindow(const X11Connection& connection) {
    const xcb_window_t window = xcb_generate_id(connection.get());
    const auto cookie =
        xcb_create_window_checked(connection.get(), XCB_COPY_FROM_PARENT, window, connection.root(), -1, -1,
                                  1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    owned(xcb_request_check(connection.get(), cookie));
    return window;
}

/// The output that has become the display, 0 when none can.
DisplayID setUp(const X11Connection& connection, const VirtualDisplayRequest& request,
                const std::vector<VideoTiming>& timings) {
    const X11OwnOutputs own(connection);
    std::optional<GuardianStart> guardian;  // its end is waited for when others are served again
    const ServerGrab grab(connection);
    const auto screen = readScreen(connection);
    if (!screen) return 0;
    const auto outputs = spareOutputs(own, *screen);
    if (outputs.empty()) return 0;
    const xcb_window_t window = makeHolderWindow(connection);
    guardian.emplace(window);
    for (const X11Screen::Output& output : outputs) {
        // Somebody's display that was turned off is still somebody's.
        if (own.isHeld(output.id)) continue;
        own.hold(output.id, window);
        if (enable(connection, own, *screen, output, request, timings)) return output.id;
        own.takeBack(output.id);
        own.release(output.id);
    }
    return 0;
}

class X11VirtualDisplay : public VirtualDisplay {
  public:
    X11VirtualDisplay(std::unique_ptr<X11Connection> connection, DisplayID output)
        : connection_(std::move(connection)), output_(output) {}

    ~X11VirtualDisplay() override {
        if (!connection_->isAlive()) return;
        const ServerGrab grab(*connection_);
        X11OwnOutputs(*connection_).takeBack(output_);
    }
    X11VirtualDisplay(const X11VirtualDisplay&) = delete;
    X11VirtualDisplay& operator=(const X11VirtualDisplay&) = delete;

    DisplayID id() const override {
        const auto cookie = xcb_randr_get_output_info(connection_->get(), output_, XCB_CURRENT_TIME);
        const auto info = owned(xcb_randr_get_output_info_reply(connection_->get(), cookie, nullptr));
        return info && info->crtc != XCB_NONE ? output_ : 0;
    }

  private:
    const std::unique_ptr<X11Connection> connection_;
    const DisplayID output_;
};

/// A new connection, with the leftovers on its server removed; null without a server whose outputs show the
/// desktop.
std::unique_ptr<X11Connection> openedAndCleared() {
    try {
        auto connection = X11Connection::open();
        const auto screen = readScreen(*connection);
        if (!screen || isWaylandBridge(*screen)) return nullptr;
        removeLeftovers(*connection, *screen);
        return connection;
    } catch (const X11Failure&) {
        return nullptr;
    }
}

}  // namespace

std::unique_ptr<VirtualDisplay> X11VirtualDisplays::create(const VirtualDisplayRequest& request) {
    const std::vector<VideoTiming> timings = timingsOf(request);
    if (timings.empty()) return nullptr;
    auto connection = openedAndCleared();
    if (!connection) return nullptr;
    const DisplayID output = setUp(*connection, request, timings);
    if (output == 0) return nullptr;
    return std::make_unique<X11VirtualDisplay>(std::move(connection), output);
}

void X11VirtualDisplays::removeLeftovers() {
    openedAndCleared();
}

std::unique_ptr<VirtualDisplays> makeVirtualDisplays() {
    return std::make_unique<X11VirtualDisplays>();
}

}  // namespace quillon
