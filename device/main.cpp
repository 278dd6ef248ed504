#include <cstdio>
#include <exception>

#include "device/device.hpp"
#include "device/end_watch.hpp"
#include "device/window.hpp"

#ifndef QUILLON_VERSION
#error "the build tells the version"
#endif

namespace quillon::device {
namespace {

void serve(Device& device, const Options& options, EndWatch& end) {
    if (options.headless) {
        device.start();
        end.wait();
    } else {
        Window window(device, options);
        device.start();
        window.run(end);
    }
    device.stop();
}

int run(const Options& options) {
    EndWatch end(options.runTime);
    Device device(options, options.headless ? Device::Shown::whenDecoded : Device::Shown::byWindow);
    serve(device, options, end);
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
