#include <array>
#include <cstdlib>
#include <optional>
#include <string>

#include "platform/simulated/platform.hpp"
#include "session/session.hpp"

// A whole session on the simulated computer. The input is a list of steps: what the device says, what
// the user does, what the world does, and how long it takes. Whatever happened, once the world is well again
// a session that was not stopped streams, and in the end it gives back everything it took.

namespace {

using namespace quillon;

enum Step : uint8_t {
    deviceSaysBytes,
    deviceSaysMessage,
    timePasses,
    deviceLeaves,
    screenChanges,
    screenEnds,
    userStops,
    userStarts,
    userRestarts,
    pointerMoves,
    linkSlowsDown,
    deviceDetaches,
    deviceAttaches,
    permissionsChange,
    userChangesSetting,
    userChangesResolution,
    panelChanges,
    linkFallsSilent,
    displayChanges,
    displayVanishes,
    displaysFail,
    displaysSlowDown,
    machineSleeps,
    stepCount,
};

class World {
  public:
    explicit World(ByteView input) : input_(input) {
        device_->keepsPayloads = false;
        config_.mirror = (number() & 1) != 0;
        config_.transport = Transport::auto_;
        config_.pace = (number() & 1) != 0;
        session_->start(config_);
        while (!input_.empty()) take(static_cast<Step>(number() % stepCount));
        heal();
    }
    ~World() {
        session_.reset();
        computer_.loop.runFor(60s);
        const bool clean = computer_.network.openDescriptors() == 0 && computer_.encoder.living == 0 &&
                           computer_.screenCapture.streams == 0 && computer_.virtualScreens.living == 0;
        if (!clean) std::abort();
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

  private:
    uint8_t number() {
        if (input_.empty()) return 0;
        const uint8_t value = input_.front();
        input_ = input_.subspan(1);
        return value;
    }
    ByteView some(size_t count) {
        const ByteView taken = input_.first(std::min(count, input_.size()));
        input_ = input_.subspan(taken.size());
        return taken;
    }

    /// Whatever was wrong is right again, and the session finds its way back.
    void heal() {
        const bool wasIdle = session_->state() == Session::State::idle();
        computer_.screens.answer = nullptr;
        computer_.screens.configurationTime = Duration::zero();
        computer_.virtualScreens.offered = true;
        computer_.usb.attached = attached_;
        computer_.screenCapture.animate(0);
        session_->setTransport(Transport::auto_);
        session_->setTarget(std::nullopt, std::nullopt);
        device_->disconnect();
        computer_.loop.runFor(180s);
        const bool isIdle = session_->state() == Session::State::idle();
        const bool streams = session_->state().isRunning() && device_->current >= 0;
        if (session_->isTransitioning() || isIdle != wasIdle || streams == isIdle) std::abort();
    }

    void changeSetting(uint8_t which, uint8_t value) {
        static constexpr std::array<const char*, 5> kPositions{"left", "right", "above", "below", ""};
        switch (which % 8) {
            case 0:
                return session_->setQuality(kStreamQualities[value % kStreamQualities.size()].value);
            case 1:
                return session_->setScaling(kScalings[value % kScalings.size()].value);
            case 2:
                return session_->setSmoothing(value * 4 - 100);
            case 3:
                return session_->setOverlayVisible((value & 1) != 0);
            case 4:
                return session_->setTransport(kTransports[value % kTransports.size()].value);
            case 5:
                return session_->setMirror((value & 1) != 0);
            case 6:
                return session_->setTarget(
                    (value & 1) != 0 ? std::optional<std::string>("tablet") : std::nullopt,
                    (value & 2) != 0 ? std::optional<std::string>("host") : std::nullopt);
            default:
                return session_->setPosition(kPositions[value % kPositions.size()]);
        }
    }

    void changeDisplay(uint8_t which, uint8_t value) {
        if (computer_.screens.all.empty()) return;
        auto& display = computer_.screens.all[which % computer_.screens.all.size()];
        if ((value & 1) != 0) display.mirroring = {true, 1};
        if ((value & 2) != 0) display.bounds.x = value * 10.0;
        if ((value & 4) != 0) display.modes.clear();
        if ((value & 8) != 0 && !display.modes.empty()) display.current = display.modes.back();
    }

    void vanish() {
        std::erase_if(computer_.screens.all, [](const auto& each) { return each.id > 100; });
        computer_.screenCapture.end("the display is gone");
    }

    void take(Step step) {
        switch (step) {
            case deviceSaysBytes:
                device_->sendBytes(some(number()));
                break;
            case deviceSaysMessage: {
                const uint8_t type = number();
                device_->send(type, some(number()), number() * 100'000U);
                break;
            }
            case timePasses:
                computer_.loop.runFor(std::chrono::milliseconds(1 << (number() % 14)));
                break;
            case deviceLeaves:
                device_->disconnect();
                break;
            case screenChanges:
                computer_.screenCapture.animate(number());
                break;
            case screenEnds:
                computer_.screenCapture.end("gone");
                break;
            case userStops:
                session_->stop();
                break;
            case userStarts:
                session_->start(config_);
                break;
            case userRestarts:
                session_->restart();
                break;
            case pointerMoves:
                computer_.mouse.moveTo({number() * 10.0, number() * 10.0});
                break;
            case linkSlowsDown:
                computer_.network.setRate(device_->current, number() * 1000.0);
                break;
            case deviceDetaches:
                computer_.usb.attached.clear();
                break;
            case deviceAttaches:
                computer_.usb.attached = attached_;
                break;
            case permissionsChange:
                computer_.virtualScreens.offered = (number() & 1) != 0;
                break;
            case userChangesSetting: {
                const uint8_t which = number();
                changeSetting(which, number());
                break;
            }
            case userChangesResolution: {
                const auto offered = session_->availableResolutions();
                const Size size = offered.empty() ? Size{800, 600} : offered[number() % offered.size()];
                session_->setResolution(size.width, size.height);
                break;
            }
            case panelChanges: {
                const Size panel{number() * 16, number() * 16};
                device_->send(12, viewOf(sizeText(panel)));
                break;
            }
            case linkFallsSilent:
                computer_.network.setPath(device_->current, (number() & 1) != 0
                                                                ? simulated::Network::Path::lost
                                                                : simulated::Network::Path::forgotten);
                break;
            case displayChanges: {
                const uint8_t which = number();
                changeDisplay(which, number());
                break;
            }
            case displayVanishes:
                vanish();
                break;
            case displaysFail:
                computer_.screens.answer = [period = number() % 8 + 1](int call) {
                    return call % period != 0;
                };
                break;
            case displaysSlowDown:
                computer_.screens.configurationTime = std::chrono::milliseconds(number() * 20);
                break;
            case machineSleeps:
                computer_.machine.suspend(std::chrono::seconds(number() * 20));
                break;
            case stepCount:
                break;
        }
    }

    ByteView input_;
    simulated::SimulatedPlatform computer_;
    std::shared_ptr<simulated::Device> device_ = computer_.attachDevice("tablet");
    const std::vector<simulated::SimulatedUsbMux::Attached> attached_ = computer_.usb.attached;
    SessionConfig config_;
    std::shared_ptr<Session> session_ = Session::make(computer_);
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    setenv("HOME", "/dev/null", 1);  // no log file
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t kLongest = 512;
    const World world({data, std::min(size, kLongest)});
    return 0;
}
