#include "app/options.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/text.hpp"

namespace quillon {

namespace {

/// One option: its word, what its value is called (empty for a flag), and what it does.
struct Rule {
    std::string_view word;
    std::string_view valueName;
    std::string_view help;
    void (*apply)(Options& options, std::string_view value);

    bool takesValue() const { return !valueName.empty(); }
};

template <auto field, bool state = true>
void flag(Options& options, std::string_view) {
    options.*field = state;
}

/// Also for an optional text, which becomes present.
template <auto field>
void text(Options& options, std::string_view value) {
    options.*field = std::string(value);
}

template <auto field>
void integer(Options& options, std::string_view value) {
    options.*field = parseInteger(value).value_or(options.*field);
}

void port(Options& options, std::string_view value) {
    options.port = parsePort(value).value_or(options.port);
}

/// Exactly two numbers between "x"s; pieces that are no numbers do not count.
template <auto widthField, auto heightField>
void size(Options& options, std::string_view value) {
    std::vector<int64_t> numbers;
    for (const std::string_view piece : splitDroppingEmpty(value, 'x')) {
        if (const auto number = parseInteger(piece)) numbers.push_back(*number);
    }
    if (numbers.size() != 2) return;
    options.*widthField = numbers[0];
    options.*heightField = numbers[1];
}

constexpr std::array kRules{
    Rule{"--udid", "ID", "connect to this USB device; without it the only one on a cable",
         text<&Options::udid>},
    Rule{"--port", "N", "port on the device (5555)", port},
    Rule{"--width", "PIXELS", "width of the stream (2048)", integer<&Options::width>},
    Rule{"--height", "PIXELS", "height of the stream (1536)", integer<&Options::height>},
    Rule{"--fps", "N", "frames per second (30)", integer<&Options::fps>},
    Rule{"--bitrate", "BITS", "accepted; the link decides", integer<&Options::bitrate>},
    Rule{"--wifi-bitrate", "BITS", "most bits per second over Wi-Fi, of 6000000",
         integer<&Options::wifiBitrate>},
    Rule{"--keyframe", "SECONDS", "key-frame interval over Wi-Fi (2)", integer<&Options::keyframeSeconds>},
    Rule{"--smoothness", "FRAMES", "accepted; the link decides", integer<&Options::smoothness>},
    Rule{"--seconds", "N", "end after so many seconds (0: never)", integer<&Options::seconds>},
    Rule{"--display", "N", "which display to stream with --physical, counted from 0",
         integer<&Options::display>},
    Rule{"--position", "SIDE", "place of the virtual display: left, right, above or below (right)",
         text<&Options::position>},
    Rule{"--virtual-size", "WxH", "size of the virtual display in points (1024x768)",
         size<&Options::virtualWidth, &Options::virtualHeight>},
    Rule{"--max-pixels", "WxH", "largest size that --probe-modes tries",
         size<&Options::maxPixelsWide, &Options::maxPixelsHigh>},
    Rule{"--pattern", "", "stream a test pattern", flag<&Options::pattern>},
    Rule{"--no-cursor", "", "accepted; the device draws the pointer in any case",
         flag<&Options::showCursor, false>},
    Rule{"--physical", "", "stream an existing display", flag<&Options::virtual_, false>},
    Rule{"--probe-modes", "", "list the modes that a virtual display gets", flag<&Options::probeModes>},
    Rule{"--displays", "", "list the active displays", flag<&Options::listDisplays>},
    Rule{"--discover-all", "", "list the devices on the network", flag<&Options::discoverAll>},
    Rule{"--devices", "", "list the USB devices", flag<&Options::listDevices>},
    Rule{"--discover", "", "find the first device on the network", flag<&Options::discover>},
    Rule{"--transport", "LINK", "usb, wifi or auto (usb)", text<&Options::transport>},
    Rule{"--tcp", "HOST:PORT", "connect to this address and mirror the main display", text<&Options::tcp>},
    Rule{"--cycle-test", "", "create and destroy a virtual display", flag<&Options::cycleTest>},
    Rule{"--hidpi-probe", "", "try the double-density mode", flag<&Options::hiDPIProbe>},
    Rule{"--two-modes", "", "let --probe-modes offer two modes", flag<&Options::twoModes>},
    Rule{"--pace", "", "steady frame delivery by a timer", flag<&Options::pace>},
    Rule{"--switch-test", "", "stop, start and switch the session by a fixed plan",
         flag<&Options::switchTest>},
    Rule{"--cleanup", "", "undo mirroring to virtual displays left behind", flag<&Options::cleanup>},
    Rule{"--mirror", "", "mirror the main display", flag<&Options::mirror>},
    Rule{"--check-input", "", "test whether the pointer can be moved", flag<&Options::checkInput>},
};

/// Goes over the words as the parser sees them: `onOption(rule, value)` for an option together with the
/// word it consumes, `onSkipped(word)` for every other.
template <typename OnOption, typename OnSkipped>
void walk(const std::vector<std::string>& arguments, OnOption onOption, OnSkipped onSkipped) {
    size_t index = 1;
    while (index < arguments.size()) {
        const std::string& word = arguments[index++];
        const auto rule = std::ranges::find(kRules, word, &Rule::word);
        if (rule == kRules.end()) {
            onSkipped(word);
            continue;
        }
        std::string_view value;
        if (rule->takesValue() && index < arguments.size()) value = arguments[index++];
        onOption(*rule, value);
    }
}

}  // namespace

Options Options::parse(const std::vector<std::string>& arguments) {
    Options options;
    walk(
        arguments, [&](const Rule& rule, std::string_view value) { rule.apply(options, value); },
        [](const std::string&) {});
    return options;
}

std::vector<std::string> Options::skippedWords(const std::vector<std::string>& arguments) {
    std::vector<std::string> words;
    walk(
        arguments, [](const Rule&, std::string_view) {},
        [&](const std::string& word) { words.push_back(word); });
    return words;
}

std::string Options::usage() {
    std::string text = "Usage: QuillonHost [OPTION...]\n\n";
    const auto addLine = [&](std::string words, std::string_view help) {
        words.resize(std::max<size_t>(words.size(), 24), ' ');
        text.append("  ").append(words).append("  ").append(help).append("\n");
    };
    for (const Rule& rule : kRules) {
        std::string words(rule.word);
        if (rule.takesValue()) words.append(" ").append(rule.valueName);
        addLine(std::move(words), rule.help);
    }
    addLine("--help", "print this text");
    addLine("--version", "print the version");
    return text;
}

}  // namespace quillon
