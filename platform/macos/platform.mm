#include "platform/platform.hpp"

#include "platform/macos/application_shell.hpp"
#include "platform/macos/capture.hpp"
#include "platform/macos/displays.hpp"
#include "platform/macos/pattern_canvas.hpp"
#include "platform/macos/permissions.hpp"
#include "platform/macos/pointer.hpp"
#include "platform/macos/run_loop.hpp"
#include "platform/macos/service_browser.hpp"
#include "platform/macos/settings_store.hpp"
#include "platform/macos/threads.hpp"
#include "platform/macos/video_encoder.hpp"
#include "platform/macos/virtual_displays.hpp"
#include "platform/macos/windows.hpp"
#include "platform/posix/sockets.hpp"
#include "platform/posix/usb_mux.hpp"

namespace quillon {

namespace {

/// A Mac. Nothing is opened before it is used.
class MacPlatform : public Platform {
  public:
    RunLoop& mainLoop() override { return loop_; }
    Threads& threads() override { return threads_; }
    Sockets& sockets() override { return sockets_; }
    UsbMux& usbMux() override { return usbMux_; }
    ServiceBrowser& serviceBrowser() override { return serviceBrowser_; }
    Displays& displays() override { return displays_; }
    VirtualDisplays& virtualDisplays() override { return virtualDisplays_; }
    Capture& capture() override { return capture_; }
    Pointer& pointer() override { return pointer_; }
    Windows& windows() override { return windows_; }
    Permissions& permissions() override { return permissions_; }
    SettingsStore& settings() override { return settings_; }
    PatternCanvases& patternCanvases() override { return patternCanvases_; }
    std::unique_ptr<VideoEncoder> makeEncoder(const EncoderSettings& settings,
                                              EncoderCallbacks callbacks) override {
        return makeVideoToolboxEncoder(settings, std::move(callbacks));
    }
    std::unique_ptr<ApplicationShell> makeApplicationShell() override {
        return makeMacApplicationShell(loop_);
    }

  private:
    MacRunLoop loop_;
    PosixSockets sockets_;
    LibUsbMux usbMux_;
    MacServiceBrowser serviceBrowser_;
    MacDisplays displays_;
    MacVirtualDisplays virtualDisplays_;
    MacCapture capture_;
    MacPointer pointer_;
    MacWindows windows_;
    MacPermissions permissions_;
    UserDefaultsSettings settings_;
    MacPatternCanvases patternCanvases_;
    MacThreads threads_;  // last: its work has ended before what it uses goes
};

}  // namespace

std::unique_ptr<Platform> makePlatform() {
    return std::make_unique<MacPlatform>();
}

}  // namespace quillon
