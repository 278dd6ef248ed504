#include <csignal>
#include <cstdio>
#include <exception>

#include "device/device.hpp"
#include "device/say.hpp"

#ifndef QUILLON_VERSION
#error "the build tells the version"
#endif

namespace quillon::device {
namespace {

/// Blocks the signals that end the program, for this thread and those it makes, so that the main thread
/// can wait for them.
sigset_t blockEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// Returns when the user ends the program or `limit` has passed.
void waitForEnd(const sigset_t& signals, std::optional<Clock::duration> limit) {
    int signal = 0;
    if (!limit) {
        sigwait(&signals, &signal);
        return;
    }
    const Moment end = Clock::now() + *limit;
    for (;;) {
        const auto left = std::max(end - Clock::now(), Clock::duration::zero());
        const auto whole = std::chrono::floor<std::chrono::seconds>(left);
        const timespec wait{whole.count(), (left - whole).count()};
        if (sigtimedwait(&signals, nullptr, &wait) > 0 || errno == EAGAIN) return;
    }
}

int run(const Options& options) {
    const sigset_t signals = blockEndSignals();
    Device device(options, Device::Shown::whenDecoded);
    device.start();
    waitForEnd(signals, options.runTime);
    device.stop();
    device.writeResults();
    return 0;
}

int runProgram(std::span<const char* const> arguments) {
    const Options options = parseOptions(arguments);
    if (options.help) {
        std::fputs(helpText().c_str(), stdout);
        return 0;
    }
    if (options.version) {
        std::puts("quillon-device " QUILLON_VERSION);
        return 0;
    }
    return run(options);
}

}  // namespace
}  // namespace quillon::device

int main(int count, char** arguments) {
    using namespace quillon::device;
    try {
        return runProgram({const_cast<const char* const*>(arguments) + 1, static_cast<size_t>(count) - 1});
    } catch (const OptionError& error) {
        std::fprintf(stderr, "quillon-device: %s\n", error.what());
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quillon-device: %s\n", error.what());
        return 1;
    }
}
