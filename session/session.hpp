#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "input/input_injector.hpp"
#include "platform/platform.hpp"
#include "platform/task.hpp"
#include "session/cursor_feed.hpp"
#include "session/desktop.hpp"
#include "session/desktop_arrangement.hpp"
#include "session/device_messages.hpp"
#include "session/link.hpp"
#include "session/link_connector.hpp"
#include "session/retry_schedule.hpp"
#include "session/silence_watchdog.hpp"
#include "session/statistics.hpp"
#include "session/stream_pipeline.hpp"
#include "session/types.hpp"

namespace quillon {

/// One streaming session: the owner of the virtual display, the link, the pipeline and the timers. Its
/// decisions live in the collaborators it holds; here is the order in which they come and go.
///
/// Main thread only. Observers are called from the loop, never from inside an operation.
class Session : public std::enable_shared_from_this<Session> {
  public:
    using StreamQuality = quillon::StreamQuality;
    using Scaling = quillon::Scaling;
    using Transport = quillon::Transport;
    using Config = SessionConfig;
    using State = SessionState;
    using Stats = SessionStats;

    /// `platform` outlives the session.
    static std::shared_ptr<Session> make(Platform& platform);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    std::function<void(const Stats&)> onStats;
    std::function<void(const State&)> onState;

    /// Begins a run with `config`; a running session is left alone.
    void start(const Config& config);

    /// Ends the run; the virtual display stays for the next start.
    void stop();

    /// Takes link and pipeline down and runs the start-up again with the current configuration. Refused
    /// while an earlier restart has not come to its end ("in transition"); an idle session stays idle.
    void restart();

    // --- what the user changes at any time, session/live_settings.cpp
    // Each is stored for the next start-up as well. Those that restart only store the value when a
    // transition refuses it, but for the mirror and the target, which wait for the transition's end.

    /// Restarts, unless it is the quality set last.
    void setQuality(StreamQuality quality);
    /// From now on the user's choice, whatever the panel's shape. Restarts a running session when it differs.
    void setScaling(Scaling scaling);
    /// Frames that the device holds back; told to the device, no restart.
    void setSmoothing(int64_t frames);
    /// Told to the device, no restart.
    void setOverlayVisible(bool visible);
    /// Restarts when it differs.
    void setTransport(Transport transport);
    /// Mirrors the main display, or extends the desktop. Restarts when it differs.
    void setMirror(bool mirror);
    /// The user's choice of a device, by cable or by host; neither means any. Restarts.
    void setTarget(std::optional<std::string> udid, std::optional<std::string> host);
    /// Moves the virtual display to that side of the main one: "left", "right", "above", "below".
    void setPosition(const std::string& position);

    // --- the virtual display's desktop, session/arranging.cpp

    /// Sizes in points that the virtual display offers and the panel has room for, by width; none without a
    /// virtual display.
    std::vector<Size> availableResolutions() const;
    /// Gives the virtual display a desktop of so many points, if it is offered.
    void setResolution(int width, int height);

    /// Takes the virtual display away; the end of the process does the same.
    void destroyVirtualDisplay() { desktop_.destroy(); }

    const State& state() const { return state_; }
    const Config& config() const { return config_; }
    const std::string& activeTransport() const { return activeTransport_; }
    /// The USB device of the open link; empty without one.
    std::string connectedUDID() const { return link_ ? connectedUDID_ : std::string(); }
    bool isTransitioning() const { return transitioning_; }
    /// Does what was sent last still wait for its way? Then nothing follows, whatever the screen shows.
    bool linkIsFull() const { return link_ && !link_->hasRoomForVideo(); }
    Scaling effectiveScaling() const { return effectiveScaling_; }
    int64_t inputCount() const { return statistics_->inputCount(); }
    size_t latencySampleCount() const { return statistics_->latencySampleCount(); }

  private:
    /// How long the system may take to settle after the virtual display's size changed.
    static constexpr Duration kDesktopSettles = 600ms;

    explicit Session(Platform& platform);

    // --- life
    void begin();
    void runStartUp(Task<> task);
    void endStartUp();
    void setState(State next);
    void teardown();
    void finishTransition();

    // --- start-up, session/start_up.cpp
    /// Identifies one start-up. Asynchronous steps compare it and end when it is no longer the current one.
    struct Ticket {
        int generation = 0;
        int startUp = 0;
        bool operator==(const Ticket&) const = default;
    };
    Ticket newStartUp();
    bool isCurrent(const Ticket& ticket) const { return !stopping_ && ticket == ticket_; }
    Task<> beginAsync(Ticket ticket);
    Task<> restartAsync(Ticket ticket);
    std::function<bool()> whileCurrent(Ticket ticket);
    Task<bool> prepareDisplay(Ticket ticket);
    Task<DisplayID> prepareVirtualDisplay(Ticket ticket);
    void adoptLink(Connection connection);
    Task<bool> followGreeting(std::string greeting, Ticket ticket);
    void rememberDevice(const std::string& greeting);
    void choosePreferences();
    void buildPipeline();
    void sendStartUpMessages();
    void askForControl();
    void startReader();
    void startSource(Ticket ticket);
    Task<> startCapture(Ticket ticket);
    void startPattern(Ticket ticket);
    void captureRuns(Ticket ticket);
    void streams(const std::string& description);
    void noticeEarlierLoss();
    void captureFailed(const std::string& reason);
    void scheduleDuration();

    // --- while it runs, session/running.cpp
    bool send(wire::MessageType type, ByteView payload, PacketWriter::Kind kind);
    void sendSettingsLine();
    void sendOverlayFlag();
    void linkLost();
    Task<> watchForCable(Ticket ticket);
    std::string runningDescription() const;

    // --- the desktop, session/arranging.cpp
    Task<> changeModes();
    Task<> moveDisplay(DisplayID display);
    void watchArrangement(DisplayID display);
    Task<> enforceMode(DisplayID display);
    void alignDesktopOrientation(Size panel);
    void resetUnofferedResolution();
    void usePanel(Size panel);
    void panelChanged();
    void reconfigureAfter(Duration pause);
    void reconfigureForPanel();
    Scaling scalingForThisSession() const;
    void useBounds(const Rect& bounds);
    void followBounds();

    Platform& platform_;
    RunLoop& loop_;

    State state_;
    Config config_;
    bool stopping_ = false;
    bool transitioning_ = false;
    Instant transitionStartedAt_;
    Ticket ticket_;
    Instant startTime_;

    // what a run has chosen
    std::string activeTransport_;
    std::string connectedUDID_;
    std::optional<DisplayID> displayID_;
    std::optional<Size> panelPixels_;
    struct WantedMode {
        DisplayID display = 0;
        DisplayMode mode;
    };
    std::optional<WantedMode> wantedMode_;  ///< chosen last; not yet on its way
    bool changesModes_ = false;
    bool clientSupportsPing_ = false;
    Scaling effectiveScaling_ = Scaling::fit;
    std::optional<StreamQuality> lastAppliedQuality_;  ///< set by the user

    // changes asked for during a transition
    struct Target {
        std::optional<std::string> udid;
        std::optional<std::string> host;
    };
    std::optional<Target> pendingTarget_;
    std::optional<bool> pendingMirror_;  ///< never the mode in force

    // collaborators of the whole life
    VirtualDesktop desktop_;
    DesktopArrangement arrangement_;
    const std::shared_ptr<LinkConnector> connector_;
    const std::shared_ptr<Statistics> statistics_;
    const std::shared_ptr<SilenceWatchdog> watchdog_;
    RetrySchedule retry_;

    // of one link
    std::shared_ptr<Link> link_;
    std::shared_ptr<InputInjector> injector_;
    std::shared_ptr<DeviceMessages> messages_;
    std::unique_ptr<StreamPipeline> pipeline_;
    std::unique_ptr<CursorFeed> cursorFeed_;
    std::unique_ptr<Timer> durationTimer_;
    std::unique_ptr<Timer> reconfigureTimer_;

    // last, so that their tasks end before what they use
    TaskScope background_;
    std::unique_ptr<TaskScope> startUp_;
    std::vector<std::unique_ptr<TaskScope>> retired_;  ///< may still be on the call stack
};

}  // namespace quillon
