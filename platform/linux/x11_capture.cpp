#include "platform/linux/x11_capture.hpp"

#include "platform/linux/x11_capture_stream.hpp"
#include "platform/linux/x11_outputs.hpp"

namespace quillon {

namespace {

std::unique_ptr<X11Connection> connect() {
    try {
        return X11Connection::open();
    } catch (const X11Failure& failure) {
        throw CaptureFailure(failure.what());
    }
}

}  // namespace

std::vector<Capture::Display> X11Capture::shareableDisplays() {
    const auto connection = connect();
    if (isWaylandBridge(*connection)) throw CaptureFailure(kWaylandOnlyReason);
    std::vector<Display> displays;
    for (const X11Output& output : readDesktop(*connection).outputs) {
        displays.push_back({output.id, {output.place.width, output.place.height}});
    }
    return displays;
}

std::unique_ptr<CaptureStream> X11Capture::start(const CaptureRequest& request, CaptureCallbacks callbacks) {
    return std::make_unique<X11CaptureStream>(connect(), request, std::move(callbacks));
}

}  // namespace quillon
