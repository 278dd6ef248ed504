#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "app/application_mode.hpp"
#include "app/device_list_mode.hpp"
#include "app/discovery_mode.hpp"
#include "app/display_list_mode.hpp"
#include "app/display_modes.hpp"
#include "app/host_mode.hpp"
#include "app/input_check.hpp"
#include "app/mode.hpp"
#include "app/options.hpp"
#include "platform/platform.hpp"

namespace {

using namespace quillon;

int listDevices() {
    const auto platform = makePlatform();
    USBLink link(platform->threads(), platform->sockets(), platform->usbMux());
    printDevices(link);
    return EXIT_SUCCESS;
}

int discover(void (*print)(WiFiDiscovery&)) {
    const auto platform = makePlatform();
    WiFiDiscovery discovery(platform->mainLoop(), platform->serviceBrowser());
    print(discovery);
    return EXIT_SUCCESS;
}

int listDisplays() {
    printDisplays(makePlatform()->displays());
    return EXIT_SUCCESS;
}

[[noreturn]] void host(const Options& options) {
    exitWhenInterrupted();
    const auto platform = makePlatform();
    runHost(*platform, options);
    // At once: a service that hangs in the middle of a call would hold up the platform's destructor.
    std::_Exit(EXIT_SUCCESS);
}

[[noreturn]] void runTrayApplication(const std::vector<std::string>& arguments) {
    const auto platform = makePlatform();
    const int status = runApplication(*platform, {QUILLON_VERSION, arguments});
    std::_Exit(status);  // as above
}

int run(const std::vector<std::string>& arguments) {
    const auto skipped = Options::skippedWords(arguments);
    if (std::ranges::count(skipped, "--help") > 0) {
        std::fputs(Options::usage().c_str(), stdout);
        return EXIT_SUCCESS;
    }
    if (std::ranges::count(skipped, "--version") > 0) {
        std::puts("QuillonHost " QUILLON_VERSION);
        return EXIT_SUCCESS;
    }

    const Options options = Options::parse(arguments);
    switch (chooseMode(options, bundlePathOf(arguments.empty() ? "" : arguments.front()))) {
        case Mode::modeProbe:
            return runModeProbe(*makePlatform(), options);
        case Mode::inputCheck:
            return runInputCheck(*makePlatform());
        case Mode::hiDPIProbe:
            return runHiDPIProbe(*makePlatform(), options);
        case Mode::cycleTest:
            return runCycleTest(*makePlatform());
        case Mode::deviceList:
            return listDevices();
        case Mode::discoverAll:
            return discover(printAllEndpoints);
        case Mode::discoverFirst:
            return discover(printFirstEndpoint);
        case Mode::displayList:
            return listDisplays();
        case Mode::cleanup:
            return runCleanup(*makePlatform());
        case Mode::application:
            runTrayApplication(arguments);
        case Mode::host:
            host(options);
    }
    return EXIT_FAILURE;  // no further mode exists
}

}  // namespace

int main(int argc, char** argv) {
    // Each line is seen at once, also through a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    // A device that vanishes must not take the program with it.
    std::signal(SIGPIPE, SIG_IGN);
    return run(std::vector<std::string>(argv, argv + argc));
}
