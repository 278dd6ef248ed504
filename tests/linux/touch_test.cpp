// A finger on the reference device, through the wire to the pointer of a real X server: it lands where it
// touched the picture, wherever the display lies and however the picture is fitted to the panel.

#include <set>

#include "device/device.hpp"
#include "input/input_injector.hpp"
#include "platform/linux/x11_displays.hpp"
#include "platform/linux/x11_pointer.hpp"
#include "tests/device/scripted_host.hpp"
#include "tests/linux/x11_fixture.hpp"
#include "tests/support/desktop_windows.hpp"
#include "tests/support/touched_places.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::testing {
namespace {

using device::Device;
using device::ScriptedHost;
using wire::MessageType;

class TouchTest : public X11Test {
  protected:
    /// A second display of this size on this side of the main one ("--left-of" and so on).
    void addDisplay(Size size, const std::string& side) {
        const std::string name = "touch-" + sizeText(size);
        const auto ends = [](int visible) {
            return std::to_string(visible) + " " + std::to_string(visible + 80) + " " +
                   std::to_string(visible + 120) + " " + std::to_string(visible + 240) + " ";
        };
        if (modes_.insert(name).second) {
            ASSERT_TRUE(
                server_->xrandr("--newmode " + name + " 200 " + ends(size.width) + ends(size.height)));
            ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 " + name));
        }
        ASSERT_TRUE(server_->xrandr("--output DUMMY0 --primary --output DUMMY1 --mode " + name + " " + side +
                                    " DUMMY0"));
        const auto active = displays_.active();
        ASSERT_EQ(active.size(), 2u);
        display_ = displays_.bounds(active[1]);
        ASSERT_EQ(display_.width, size.width);
        ASSERT_EQ(display_.height, size.height);
    }

    void tapEverywhere(Size panel, Scaling scaling) {
        device::Options options;
        options.bind = "127.0.0.1";
        options.port = 0;
        options.headless = true;
        options.panel = panel;
        Device tablet(options, Device::Shown::whenDecoded);
        tablet.start();
        ScriptedHost host(tablet.port());
        ASSERT_TRUE(host.readGreeting());
        const Size size{static_cast<int>(display_.width), static_cast<int>(display_.height)};
        wire::Settings settings;
        settings.virtualSize = size;
        settings.scaling = scaling;
        host.send(MessageType::settingsLine, wire::settingsLine(settings));
        ASSERT_TRUE(eventually([&] { return tablet.screen().state().settings.display == size; }));

        const InputInjector injector(pointer_, display_);
        const auto [across, down] = shownOn(panel, size, scaling);
        for (const int y : touchedPixels(down, panel.height, size.height)) {
            for (const int x : touchedPixels(across, panel.width, size.width)) {
                // The middle of the touched pixel.
                tablet.touch(wire::Input::hover, {(x + 0.5) / panel.width, (y + 0.5) / panel.height});
                const auto touch = host.readUntil(MessageType::input);
                ASSERT_TRUE(touch) << x << "," << y;
                injector.handle(touch->payload);
                const auto place = pointer_.location();
                ASSERT_TRUE(place);
                EXPECT_NEAR(place->x, display_.x + (x + 0.5 - across.start) / across.scale, 1)
                    << x << "," << y;
                EXPECT_NEAR(place->y, display_.y + (y + 0.5 - down.start) / down.scale, 1) << x << "," << y;
            }
        }
    }

    LinuxRunLoop loop_;
    X11Pointer pointer_{loop_};
    X11Displays displays_;
    Rect display_;

  private:
    std::set<std::string> modes_;
};

TEST_F(TouchTest, LandsExactlyOnEverySideInEverySizeAndScaling) {
    for (const char* side : {"--right-of", "--left-of", "--above", "--below"}) {
        for (const Size size : {Size{1024, 768}, Size{1600, 1000}, Size{800, 1280}}) {
            addDisplay(size, side);
            if (HasFatalFailure()) return;
            for (const Size panel : {Size{2048, 1536}, Size{1668, 2388}}) {
                for (const Scaling scaling : {Scaling::fit, Scaling::fill, Scaling::stretch}) {
                    SCOPED_TRACE(std::string(side) + " " + sizeText(size) + " on " + sizeText(panel) +
                                 ", scaling " + std::to_string(static_cast<int>(scaling)));
                    tapEverywhere(panel, scaling);
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

}  // namespace
}  // namespace quillon::testing
