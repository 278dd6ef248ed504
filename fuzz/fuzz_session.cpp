#include <cstdio>
#include <cstdlib>

#include "platform/simulated/platform.hpp"
#include "session/session.hpp"

// A whole session on the simulated computer. The input is a list of steps: what the device says, what
// the user does, what the world does, and how long it takes. Whatever happens, the session gives back
// everything it took.

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
