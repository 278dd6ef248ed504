#pragma once

#include "platform/platform.hpp"
#include "platform/simulated/desktop.hpp"
#include "platform/simulated/device.hpp"
#include "platform/simulated/machine.hpp"
#include "platform/simulated/media.hpp"
#include "platform/simulated/network.hpp"
#include "platform/simulated/run_loop.hpp"
#include "platform/simulated/service_browser.hpp"
#include "platform/simulated/shell.hpp"
#include "platform/simulated/threads.hpp"

namespace quillon::simulated {

/// A whole simulated computer. Its parts are public: a test sets the world and looks at it.
class SimulatedPlatform : public Platform {
  public:
    SimulatedPlatform() = default;
    ~SimulatedPlatform() override { machine.settle(); }
    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    Machine machine;
    SimulatedRunLoop loop{machine};
    SimulatedThreads workers{machine};
    Network network{machine};
    SimulatedUsbMux usb{network};
    SimulatedServiceBrowser services{machine};
    SimulatedDisplays screens{machine};
    SimulatedVirtualDisplays virtualScreens{screens};
    SimulatedCapture screenCapture{machine, screens};
    SimulatedPointer mouse;
    SimulatedWindows desktopWindows;
    SimulatedPermissions allowed;
    SimulatedSettingsStore stored;
    SimulatedPatternCanvases canvases;
    EncoderBehaviour encoder;
    ShellWorld shell;  ///< what the tray application's shells show, whenever one is made

    /// A device behind the cable that listens on the usual port.
    std::shared_ptr<Device> attachDevice(const std::string& udid, uint32_t handle = 1);
    /// A device on the network at "host:port".
    std::shared_ptr<Device> addNetworkDevice(const std::string& address);

    RunLoop& mainLoop() override { return loop; }
    Threads& threads() override { return workers; }
    Sockets& sockets() override { return network; }
    UsbMux& usbMux() override { return usb; }
    ServiceBrowser& serviceBrowser() override { return services; }
    Displays& displays() override { return screens; }
    VirtualDisplays& virtualDisplays() override { return virtualScreens; }
    Capture& capture() override { return screenCapture; }
    Pointer& pointer() override { return mouse; }
    Windows& windows() override { return desktopWindows; }
    Permissions& permissions() override { return allowed; }
    SettingsStore& settings() override { return stored; }
    PatternCanvases& patternCanvases() override { return canvases; }
    std::unique_ptr<VideoEncoder> makeEncoder(const EncoderSettings& settings,
                                              EncoderCallbacks callbacks) override {
        return makeSimulatedEncoder(machine, workers, encoder, settings, std::move(callbacks));
    }
    std::unique_ptr<ApplicationShell> makeApplicationShell() override {
        return makeSimulatedShell(loop, shell);
    }
};

}  // namespace quillon::simulated
