#pragma once

#include <memory>

#include "platform/application_shell.hpp"
#include "platform/capture.hpp"
#include "platform/displays.hpp"
#include "platform/pattern_canvas.hpp"
#include "platform/permissions.hpp"
#include "platform/pointer.hpp"
#include "platform/run_loop.hpp"
#include "platform/service_browser.hpp"
#include "platform/settings_store.hpp"
#include "platform/sockets.hpp"
#include "platform/threads.hpp"
#include "platform/usb_mux.hpp"
#include "platform/video_encoder.hpp"
#include "platform/virtual_displays.hpp"
#include "platform/windows.hpp"

namespace quillon {

/// Everything the operating system gives, handed out as one aggregate. The platform owns what it
/// returns by reference. One object may stand behind several of the services: a desktop whose single
/// service session gives display, capture and input together is one class with three faces.
class Platform {
  public:
    virtual ~Platform() = default;

    virtual RunLoop& mainLoop() = 0;
    virtual Threads& threads() = 0;
    virtual Sockets& sockets() = 0;
    virtual UsbMux& usbMux() = 0;
    virtual ServiceBrowser& serviceBrowser() = 0;
    virtual Displays& displays() = 0;
    virtual VirtualDisplays& virtualDisplays() = 0;
    virtual Capture& capture() = 0;
    virtual Pointer& pointer() = 0;
    virtual Windows& windows() = 0;
    virtual Permissions& permissions() = 0;
    virtual SettingsStore& settings() = 0;
    virtual PatternCanvases& patternCanvases() = 0;

    /// Throws EncoderFailure.
    virtual std::unique_ptr<VideoEncoder> makeEncoder(const EncoderSettings& settings,
                                                      EncoderCallbacks callbacks) = 0;

    /// The tray application's half of the platform; this loads the toolkit. Throws ShellFailure. Null when
    /// the application runs already in this login session: it was asked to come forward (`wasReopened`), and
    /// this process has nothing left to do.
    virtual std::unique_ptr<ApplicationShell> makeApplicationShell() = 0;
};

/// The platform this program was built for.
std::unique_ptr<Platform> makePlatform();

}  // namespace quillon
