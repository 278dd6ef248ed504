#include "platform/platform.hpp"

#include "platform/linux/application_shell.hpp"
#include "platform/linux/avahi_service_browser.hpp"
#include "platform/linux/granted_permissions.hpp"
#include "platform/linux/pattern_canvas.hpp"
#include "platform/linux/run_loop.hpp"
#include "platform/linux/settings_store.hpp"
#include "platform/linux/threads.hpp"
#include "platform/linux/x11_capture.hpp"
#include "platform/linux/x11_displays.hpp"
#include "platform/linux/x11_pointer.hpp"
#include "platform/linux/x11_virtual_displays.hpp"
#include "platform/linux/x11_windows.hpp"
#include "platform/linux/x264_encoder.hpp"
#include "platform/posix/sockets.hpp"
#include "platform/posix/usb_mux.hpp"

namespace quillon {

namespace {

/// A Linux desktop on X11. Nothing is opened before it is used.
class LinuxPlatform : public Platform {
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
        return makeX264Encoder(settings, std::move(callbacks), loop_);
    }
    std::unique_ptr<ApplicationShell> makeApplicationShell() override {
        return makeLinuxApplicationShell(loop_);
    }

  private:
    LinuxRunLoop loop_;
    PosixSockets sockets_;
    LibUsbMux usbMux_;
    AvahiServices serviceBrowser_;
    X11Displays displays_;
    X11VirtualDisplays virtualDisplays_;
    X11Capture capture_;
    X11Pointer pointer_{loop_};
    X11Windows windows_;
    GrantedPermissions permissions_;
    KeyFileSettings settings_;
    CairoPatternCanvases patternCanvases_;
    LinuxThreads threads_;  // last: its work is joined before what it uses goes
};

}  // namespace

std::unique_ptr<Platform> makePlatform() {
    return std::make_unique<LinuxPlatform>();
}

}  // namespace quillon
