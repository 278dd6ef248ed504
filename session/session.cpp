#include "session/session.hpp"

#include "base/log.hpp"
#include "display/window_mover.hpp"

namespace quillon {

namespace {
constexpr Duration kRestartPause = 800ms;
}  // namespace

std::shared_ptr<Session> Session::make(Platform& platform) {
    return std::shared_ptr<Session>(new Session(platform));
}

Session::Session(Platform& platform)
    : platform_(platform),
      loop_(platform.mainLoop()),
      startTime_(loop_.now()),
      desktop_(platform),
      arrangement_(platform),
      connector_(std::make_shared<LinkConnector>(platform)),
      statistics_(std::make_shared<Statistics>()),
      watchdog_(std::make_shared<SilenceWatchdog>(loop_,
                                                  [this] {
                                                      if (stopping_ || !state_.isRunning()) return;
                                                      Log::write("no traffic for 8 s, reclaiming the link");
                                                      linkLost();
                                                  })),
      retry_(loop_, [this] {
          if (!stopping_) begin();
      }) {}

Session::~Session() {
    stopping_ = true;
    watchdog_->stop();
    arrangement_.cancel();
    teardown();
}

void Session::setState(State next) {
    state_ = std::move(next);
    loop_.post([weak = weak_from_this(), state = state_] {
        const auto self = weak.lock();
        if (self && self->onState) self->onState(state);
    });
}

void Session::start(const Config& config) {
    if (state_.isRunning()) return;
    config_ = config;
    effectiveScaling_ = config.scaling;
    stopping_ = false;
    pendingTarget_.reset();
    pendingMirror_.reset();
    startTime_ = loop_.now();
    durationTimer_.reset();
    panelPixels_.reset();
    arrangement_.begin();
    setState(State::starting());
    loop_.post([weak = weak_from_this(), generation = ticket_.generation] {
        const auto self = weak.lock();
        if (self && self->ticket_.generation == generation) self->begin();
    });
}

void Session::stop() {
    stopping_ = true;
    ++ticket_.generation;
    transitioning_ = false;
    watchdog_->stop();
    durationTimer_.reset();
    arrangement_.cancel();
    wantedMode_.reset();
    if (!config_.mirror && desktop_.isOwned()) {
        Displays& displays = platform_.displays();
        WindowMover(platform_.windows(), displays, platform_.permissions())
            .moveWindowsOff(desktop_.virtualDisplayID(), displays.bounds(displays.main()));
    }
    retry_.reset();
    endStartUp();
    teardown();
    setState(State::idle());
}

void Session::restart() {
    if (state_.kind == State::Kind::idle) return;
    if (transitioning_) {
        Log::write("transition already in progress, ignoring");
        return;
    }
    transitioning_ = true;
    transitionStartedAt_ = loop_.now();
    ++ticket_.generation;
    arrangement_.stopModeEnforcement();
    retry_.cancel();
    setState(State::starting());
    runStartUp(restartAsync(newStartUp()));
}

Task<> Session::restartAsync(Ticket ticket) {
    teardown();
    co_await loop_.sleep(kRestartPause);
    if (isCurrent(ticket)) begin();
}

void Session::begin() {
    retry_.cancel();
    teardown();
    runStartUp(beginAsync(newStartUp()));
}

Session::Ticket Session::newStartUp() {
    ++ticket_.startUp;
    return ticket_;
}

void Session::runStartUp(Task<> task) {
    endStartUp();
    startUp_ = std::make_unique<TaskScope>();
    startUp_->start(std::move(task));
}

/// The start-up that ends here may be the one that is asking: it is let go in the loop's next turn.
void Session::endStartUp() {
    if (!startUp_) return;
    retired_.push_back(std::move(startUp_));
    loop_.post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->retired_.clear();
    });
}

void Session::teardown() {
    cursorFeed_.reset();
    reconfigureTimer_.reset();
    if (link_) link_->close();
    link_.reset();
    if (pipeline_) pipeline_->stop(background_);
    pipeline_.reset();
    messages_.reset();
    injector_.reset();
    displayID_.reset();
}

void Session::finishTransition() {
    transitioning_ = false;
    if (const auto target = std::exchange(pendingTarget_, std::nullopt)) {
        config_.targetUDID = target->udid;
        config_.targetHost = target->host;
        Log::write("applying queued target");
        restart();
        return;
    }
    const auto mirror = std::exchange(pendingMirror_, std::nullopt);
    if (!mirror) return;
    config_.mirror = *mirror;
    Log::write(std::string("running queued switch to ") + modeName(*mirror));
    restart();
}

}  // namespace quillon
