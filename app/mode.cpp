#include "app/mode.hpp"

#include <system_error>

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
    // A bare name was found by the search path, which lists no bundles.
    if (!programPath.has_parent_path()) return {};
    // Quillon.app/Contents/MacOS/QuillonHost, or the program directly in its folder.
    std::error_code ignored;
    const auto folder = std::filesystem::absolute(programPath, ignored).lexically_normal().parent_path();
    const std::filesystem::path contents = folder.parent_path();
    const bool bundled = folder.filename() == "MacOS" && contents.filename() == "Contents";
    return bundled ? contents.parent_path() : folder;
}

}  // namespace quillon
