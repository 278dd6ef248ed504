#include "session/desktop.hpp"

#include <algorithm>
#include <string>

#include "base/log.hpp"
#include "display/virtual_display.hpp"

namespace quillon {

namespace {

constexpr int kCreateAttempts = 8;
constexpr Duration kBetweenAttempts = 900ms;

/// The panels of the common tablets, upright and lying, and two desktops of their shape.
VirtualDisplayRequest displayRequest() {
    VirtualDisplayRequest request;
    request.name = "Quillon iPad";
    request.modes = {{2048, 1536}, {2732, 2048}, {2388, 1668}, {2048, 2732},
                     {1536, 2048}, {1668, 2388}, {1600, 1200}, {1024, 768}};
    request.hiDPI = false;
    request.maxPixels = {8192, 8192};
    request.refreshRate = 60.0;
    return request;
}

}  // namespace

std::vector<DisplayID> ourDisplays(Displays& displays) {
    std::vector<DisplayID> ours;
    for (const DisplayID display : displays.active()) {
        if (displays.identity(display) == VirtualMonitor::kIdentity) ours.push_back(display);
    }
    return ours;
}

Task<DisplayID> VirtualDesktop::obtain(std::function<bool()> wanted) {
    if (seen_ && !isActive()) destroy();
    if (id_ == 0) {
        co_await create(wanted);
        if (id_ == 0 && wanted()) id_ = adoptExistingDisplay();
    }
    seen_ = seen_ || isActive();
    co_return id_;
}

bool VirtualDesktop::isActive() const {
    const auto active = platform_.displays().active();
    return std::ranges::find(active, id_) != active.end();
}

Task<> VirtualDesktop::create(std::function<bool()> wanted) {
    RunLoop& loop = platform_.mainLoop();
    for (int attempt = 1; attempt <= kCreateAttempts && wanted(); ++attempt) {
        auto work = inBackground(loop, platform_.threads(), [&service = platform_.virtualDisplays()] {
            return std::shared_ptr<VirtualDisplay>(createVirtualDisplay(service, displayRequest()));
        });
        virtualDisplay_ = co_await work;
        id_ = virtualDisplay_ ? virtualDisplay_->id() : 0;
        if (id_ != 0) co_return;
        virtualDisplay_.reset();
        Log::write("virtual display create attempt " + std::to_string(attempt) + " failed");
        co_await loop.sleep(kBetweenAttempts);
    }
}

DisplayID VirtualDesktop::adoptExistingDisplay() {
    Displays& displays = platform_.displays();
    const DisplayID main = displays.main();
    for (const DisplayID display : ourDisplays(displays)) {
        if (display == main) continue;
        Log::write("adopted existing Quillon display " + std::to_string(display));
        return display;
    }
    return 0;
}

void VirtualDesktop::destroy() {
    virtualDisplay_.reset();
    id_ = 0;
    seen_ = false;
}

}  // namespace quillon
