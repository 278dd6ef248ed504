#pragma once

#include <filesystem>

#include "app/options.hpp"

namespace quillon {

/// What one run of the program does. A run has exactly one mode, in this order of precedence.
enum class Mode {
    modeProbe,
    inputCheck,
    hiDPIProbe,
    cycleTest,
    deviceList,
    discoverAll,
    discoverFirst,
    displayList,
    cleanup,
    application,
    host,
};

/// `bundlePath` tells whether the program was started as an application.
Mode chooseMode(const Options& options, const std::filesystem::path& bundlePath);

/// The application bundle that the program belongs to, otherwise its folder, absolute; empty for a bare name.
/// `programPath` is how it was started: a link into a bundle that lies elsewhere does not count, one that
/// lies in a bundle does.
std::filesystem::path bundlePathOf(const std::filesystem::path& programPath);

}  // namespace quillon
