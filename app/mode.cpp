#include "app/mode.hpp"

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

}  // namespace quillon
