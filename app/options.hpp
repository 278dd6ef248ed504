#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quillon {

/// What the command line says, as typed: nothing is checked for sense here. The entry parses it once
/// and hands it on; there is no process-wide copy.
struct Options {
    std::string udid;
    uint16_t port = 5555;
    int64_t width = 2048;   ///< pixels
    int64_t height = 1536;  ///< pixels
    int64_t fps = 30;
    int64_t bitrate = 12'000'000;     ///< bits per second
    int64_t wifiBitrate = 8'000'000;  ///< bits per second
    int64_t keyframeSeconds = 2;
    int64_t smoothness = 0;  ///< frames
    int64_t seconds = 0;     ///< below 1: no limit
    bool pattern = false;
    int64_t display = 0;  ///< index into the list of active displays
    bool showCursor = true;
    bool virtual_ = true;  ///< "virtual", which C++ keeps for itself
    std::string position = "right";
    int64_t virtualWidth = 1024;  ///< points
    int64_t virtualHeight = 768;  ///< points
    bool probeModes = false;
    int64_t maxPixelsWide = 0;  ///< 0: no limit
    int64_t maxPixelsHigh = 0;  ///< 0: no limit
    bool checkInput = false;
    bool mirror = false;
    bool listDisplays = false;
    bool cleanup = false;
    bool switchTest = false;
    bool pace = false;
    bool twoModes = false;
    bool hiDPIProbe = false;
    bool cycleTest = false;
    std::optional<std::string> tcp;
    std::string transport = "usb";
    bool discover = false;
    bool listDevices = false;
    bool discoverAll = false;

    bool operator==(const Options&) const = default;

    /// Reads the whole argument list, the program's path at index 0 included. Lenient: an unknown word
    /// is skipped, a number that does not parse leaves its field alone, a value missing at the end of
    /// the line is empty. A later occurrence overrides an earlier one.
    static Options parse(const std::vector<std::string>& arguments);

    /// The words that `parse` skips: neither options nor values of options.
    static std::vector<std::string> skippedWords(const std::vector<std::string>& arguments);

    /// One line per option, for people.
    static std::string usage();
};

}  // namespace quillon
