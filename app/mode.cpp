#include "app/mode.hpp"

#include <array>

namespace quillon {

Mode chooseMode(const Options& options, const std::filesystem::path& bundlePath) {
    if (options.probeModes) return Mode::modeProbe;
    if (options.checkInput) return Mode::inputCheck;
    if (options.hiDPIProbe) return Mode::hiDPIProbe;
    if (options.cycleTest) return Mode::cycleTest;
    if (options.listDevices) return Mode::deviceList;
    if (options.discoverAll) return Mode::discoverAll;
    if (options.discover) return Mode::discoverFirst;
    if (options.listDisplays) return Mode::displayList;
    if (options.cleanup) return Mode::cleanup;
    if (bundlePath.native().ends_with(".app")) return Mode::application;
    return Mode::host;
}

std::filesystem::path bundlePathOf(const std::filesystem::path& programPath) {
    // Quillon.app/Contents/MacOS/QuillonHost, or the program directly in its folder.
    const std::filesystem::path folder = programPath.parent_path();
    const std::filesystem::path contents = folder.parent_path();
    const bool bundled = folder.filename() == "MacOS" && contents.filename() == "Contents";
    return bundled ? contents.parent_path() : folder;
}

std::string_view nameOf(Mode mode) {
    static constexpr std::array<std::string_view, 11> kNames{
        "the display-mode probe (--probe-modes)",
        "the input check (--check-input)",
        "the HiDPI probe (--hidpi-probe)",
        "the cycle test (--cycle-test)",
        "the USB device list (--devices)",
        "discovery of all devices on the network (--discover-all)",
        "discovery on the network (--discover)",
        "the display list (--displays)",
        "the cleanup of virtual displays (--cleanup)",
        "the menu-bar application",
        "hosting a stream",
    };
    return kNames[static_cast<size_t>(mode)];
}

}  // namespace quillon
