#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/device_entries.hpp"
#include "app/device_scanner.hpp"
#include "app/flow.hpp"
#include "app/popover_controller.hpp"
#include "app/settings.hpp"
#include "platform/application_shell.hpp"
#include "platform/platform.hpp"
#include "session/session.hpp"

namespace quillon {

/// The tray application: owns the one session, the status item with the front end that it opens, the settings
/// and the device list. It decides everything and draws nothing: front ends are values made from a snapshot
/// (popover.hpp), and what the user does comes back as a named action or a change.
///
///     status item ── menu ──▶ perform(item) ──────────┐
///                 └─ panel ─▶ applyPopoverChange ─────┴─▶ an action below ──▶ Settings, Session
///                                                                               │ onState, onStats
///     front ends ◀── popoverSnapshot ◀──────────────────────────────────────────┘
///
/// Main thread only. Everything that comes from platform and session comes from the loop.
class AppDelegate {
  public:
    struct Details {
        std::string version;  ///< empty: a build without one
        std::vector<std::string> arguments;
    };

    /// `platform` and `shell` outlive this.
    AppDelegate(Platform& platform, ApplicationShell& shell, Details details);
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    // --- life of the application
    void applicationDidFinishLaunching();
    void applicationDidBecomeActive();
    void applicationWasReopened();
    void applicationHasNoStatusArea();
    void applicationGotStatusArea();
    void applicationWillTerminate();
    /// The six above, for `ApplicationShell::run`; this outlives the run.
    ApplicationCallbacks callbacks();

    // --- classic menu
    Menu menuNeedsUpdate() const;
    void menuWillOpen();
    void menuDidClose();
    /// Runs the action that `sender` names; an unknown name does nothing.
    void perform(const MenuItem& sender);

    // --- popover
    PopoverSnapshot popoverSnapshot() const;
    void applyPopoverChange(const PopoverChange& change);
    void togglePopover();

    const Session& session() const { return *session_; }
    const std::vector<DeviceEntry>& deviceEntries() const { return deviceEntries_; }

  private:
    // --- status item and what it says, app_delegate.cpp
    void installStatusItemUI();
    void refreshTitle();
    void applyStatusIcon(bool running, bool failed);
    void setLook(StatusItemLook::Icon icon, const std::string& description);
    void setToolTip(const std::string& text);
    PopoverController& popoverPanel();
    void refreshFrontEnds();

    // --- the session
    void startSession();
    void retrySession(Duration delay);
    void sessionChanged(const Session::State& state);
    void sessionMeasured(const Session::Stats& stats);
    void watchForQuiet();
    void streamIsQuiet();
    void presentFailure(const std::string& message);
    void takeSleepAssertion();
    LinkKind activeLink() const;
    int64_t resolvedWidth() const;
    int64_t resolvedHeight() const;

    // --- actions, app_delegate_actions.cpp; those of a choice take it from the item's represented object
    void chooseMode(bool mirror);
    void chooseExtend(const MenuItem&) { chooseMode(false); }
    void chooseMirror(const MenuItem&) { chooseMode(true); }
    void setResolutionFromMenu(const MenuItem& sender);
    void setQualityFromMenu(const MenuItem& sender);
    void setScalingFromMenu(const MenuItem& sender);
    void setSmoothingFromMenu(const MenuItem& sender);
    void setTransportFromMenu(const MenuItem& sender);
    void setPositionFromMenu(const MenuItem& sender);
    void stopStreaming(const MenuItem&);
    void toggleStreaming(const MenuItem&);
    void toggleLaunchAtLogin(const MenuItem&);
    void togglePreventSleep(const MenuItem&);
    void toggleAutoStart(const MenuItem&);
    void togglePopoverUI(const MenuItem&);
    void toggleOverlay(const MenuItem&);
    void openPrivacySettings(const MenuItem& sender);
    void setWiFiAddress(const MenuItem&);
    void openLog(const MenuItem&);
    void showAbout(const MenuItem&);
    void quit(const MenuItem&) { shell_.terminate(); }

    // --- devices, app_delegate_devices.cpp
    void refreshDevices();
    void rescanDevices(const MenuItem&) { refreshDevices(); }
    void devicesFound(const FoundDevices& found);
    void chooseDevice(const MenuItem& sender);
    void scheduleTargetFallback();
    /// Falls back to Automatic once the choice had its time and the session has failed.
    void judgeTarget(const Session::State& state);
    std::string chosenDeviceName() const;
    void addDevices(PopoverSnapshot& snapshot) const;
    void addResolutions(PopoverSnapshot& snapshot) const;

    Platform& platform_;
    RunLoop& loop_;
    ApplicationShell& shell_;
    const Details details_;
    Settings settings_;
    const std::shared_ptr<Session> session_;
    const std::shared_ptr<bool> life_ =
        std::make_shared<bool>();  ///< what outlives this looks whether it does

    // what is shown
    std::string statusLine_ = "Stopped";
    std::string statsLine_;
    std::string flow_;
    std::string notice_;
    StatusItemLook look_;
    std::unique_ptr<StatusItem> statusItem_;
    std::unique_ptr<PopoverController> popoverPanel_;  ///< made at its first use
    bool menuIsOpen_ = false;
    bool hasStatusArea_ = true;
    bool launchAtLoginEnabled_ = false;
    bool targetIsOverdue_ = false;      ///< it had its time, and the session has not told yet
    bool didShowFailureAlert_ = false;  ///< since a session ran last

    FlowLog flowLog_;
    std::unique_ptr<WakeLock::Assertion> sleepAssertion_;
    std::optional<Instant> lastAutoRetry_;

    std::vector<DeviceEntry> deviceEntries_;
    std::unique_ptr<DeviceScanner> scanner_;

    std::unique_ptr<Timer> deviceTimer_;
    std::unique_ptr<Timer> retryTimer_;
    std::unique_ptr<Timer> quietTimer_;  ///< no statistics for a while
    std::unique_ptr<Timer> targetFallback_;
};

}  // namespace quillon
