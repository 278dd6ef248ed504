#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/bytes.hpp"
#include "base/geometry.hpp"
#include "device/faults.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::device {

/// A message that the device sends by itself at a time after the accept, on every link.
struct ScriptedMessage {
    struct Finger {
        uint8_t action = 0;
        Point onPanel;  ///< fractions
    };
    Clock::duration at{};
    wire::MessageType type{};
    Bytes payload;
    std::optional<Finger> finger;  ///< instead of a payload: what it touches is known when it is sent
};

/// What the command line asks for.
struct Options {
    bool help = false;
    bool version = false;

    // Where hosts find the device.
    std::string bind = "0.0.0.0";
    uint16_t port = 5555;  ///< 0: any free port; behind a mux server, the device's own port
    bool tcp = true;
    std::optional<std::string> muxSocket;  ///< path of a mux server's socket to stand behind
    std::string udid = "5175696c6c6f6e2d4465766963652d3030303031";
    std::optional<std::string> announcedName;   ///< of the service on the network
    std::optional<std::string> announcedModel;  ///< in its TXT record

    // What the device says of itself.
    std::optional<std::string> greeting;  ///< the whole line
    Size panel{2048, 1536};               ///< pixels

    // What the user sees and does.
    bool headless = false;
    bool decodes = true;                  ///< or every frame that has come counts as shown
    std::optional<Size> window;           ///< its size at first; as large as the desktop allows without
    bool viewOnly = false;                ///< the window's mouse touches nothing
    bool followWindow = false;            ///< report the window's size as the panel
    std::optional<Size> mirroredDisplay;  ///< shape of a mirrored display, which no message tells
    std::vector<ScriptedMessage> script;  ///< ordered by time

    // What is left behind.
    std::optional<Clock::duration> runTime;
    std::optional<std::string> snapshotFile;
    bool snapshotPointer = false;
    std::optional<std::string> recordFile;
    std::optional<std::string> summaryFile;
    std::optional<std::string> counterLog;
    std::optional<std::string> messageLog;
    double counterScale = 1;

    Faults faults;

    /// The line sent to a host while the panel has this size, without its line feed.
    std::string greetingLine(Size panelNow) const;
};

/// A command line that makes no sense; `what` tells the user why.
struct OptionError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads the arguments after the program's name. Throws OptionError.
Options parseOptions(std::span<const char* const> arguments);

/// The text of --help.
std::string helpText();

}  // namespace quillon::device
