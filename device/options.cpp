#include "device/options.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/text.hpp"
#include "device/numbers.hpp"
#include "device/panel_text.hpp"

namespace quillon::device {
namespace {

/// What an option does with its value; false refuses the value. Flags ignore it.
using Apply = bool (*)(Options&, std::string_view value);

struct OptionRule {
    std::string_view name;
    std::string_view value;  ///< its name in the help; empty for a flag
    std::string_view meaning;
    Apply apply;
};

bool storeText(std::optional<std::string>& field, std::string_view value) {
    if (value.empty()) return false;
    field = value;
    return true;
}

template <typename Field, typename Parsed>
bool storeParsed(Field& field, const std::optional<Parsed>& parsed) {
    if (!parsed) return false;
    field = *parsed;
    return true;
}

bool storeWord(std::string& field, std::string_view value) {
    if (value.empty()) return false;
    field = value;
    return true;
}

/// What fits into a service's name or, after its key, into an entry of a TXT record, and is text.
bool storeAnnounced(std::optional<std::string>& field, std::string_view value, size_t longest) {
    if (value.empty() || value.size() > longest || repairedUtf8(viewOf(value)) != value) return false;
    field = value;
    return true;
}

bool setFlag(bool& flag, bool value = true) {
    flag = value;
    return true;
}

/// Takes "@SECOND" off the end of `text`.
std::optional<Clock::duration> takeTime(std::string_view& text) {
    const size_t at = text.rfind('@');
    if (at == std::string_view::npos) return std::nullopt;
    const auto time = parseSeconds(text.substr(at + 1));
    text = text.substr(0, at);
    return time;
}

void addMessage(Options& options, ScriptedMessage message) {
    const auto later = [](Clock::duration at, const ScriptedMessage& other) { return at < other.at; };
    const auto place = std::upper_bound(options.script.begin(), options.script.end(), message.at, later);
    options.script.insert(place, std::move(message));
}

bool addPanelReport(Options& options, std::string_view value) {
    const auto at = takeTime(value);
    const auto panel = parseSize(value);
    if (!at || !panel) return false;
    const std::string text = panelReportText(*panel);
    const ByteView bytes = viewOf(text);
    addMessage(options, {*at, wire::MessageType::panelReport, Bytes(bytes.begin(), bytes.end())});
    return true;
}

struct TimedTouch {
    Clock::duration at{};
    uint8_t action = 0;
    Point numbers;
};

/// "press,X,Y@SECOND"; hover, press, drag, release take a place, scroll takes pixels.
std::optional<TimedTouch> parseTouch(std::string_view value) {
    static constexpr std::array<std::string_view, 5> kActions{"hover", "press", "drag", "release", "scroll"};
    const auto at = takeTime(value);
    const auto parts = splitDroppingEmpty(value, ',');
    if (!at || parts.size() != 3) return std::nullopt;
    const auto action = std::find(kActions.begin(), kActions.end(), parts[0]);
    const auto first = parseNumber(parts[1]);
    const auto second = parseNumber(parts[2]);
    if (action == kActions.end() || !first || !second) return std::nullopt;
    return TimedTouch{*at, static_cast<uint8_t>(action - kActions.begin()), {*first, *second}};
}

bool addTouch(Options& options, std::string_view value) {
    const auto touch = parseTouch(value);
    if (!touch) return false;
    wire::Input input;
    input.action = touch->action;
    const bool scrolls = input.action == wire::Input::scroll;
    (scrolls ? input.dx : input.x) = static_cast<float>(touch->numbers.x);
    (scrolls ? input.dy : input.y) = static_cast<float>(touch->numbers.y);
    addMessage(options, {touch->at, wire::MessageType::input, wire::inputPayload(input)});
    return true;
}

bool addFinger(Options& options, std::string_view value) {
    const auto touch = parseTouch(value);
    if (!touch || touch->action == wire::Input::scroll) return false;
    addMessage(
        options,
        {touch->at, wire::MessageType::input, {}, ScriptedMessage::Finger{touch->action, touch->numbers}});
    return true;
}

bool setCounterScale(Options& options, std::string_view value) {
    const auto scale = parseNumber(value);
    return scale && *scale > 0 && *scale <= 16 && storeParsed(options.counterScale, scale);
}

bool setGreeting(Options& options, std::string_view value) {
    if (value.find('\n') != std::string_view::npos) return false;
    options.greeting = value;
    return true;
}

bool setPanel(Options& options, std::string_view value) {
    const auto panel = parseSize(value);
    return panel && panel->width > 100 && panel->height > 100 && storeParsed(options.panel, panel);
}

constexpr OptionRule kRules[] = {
    {"--port", "N", "listen on this port; 0 takes any free one (default 5555)",
     [](Options& o, std::string_view v) { return storeParsed(o.port, parsePort(v)); }},
    {"--bind", "ADDRESS", "listen on this IPv4 address (default 0.0.0.0)",
     [](Options& o, std::string_view v) { return storeWord(o.bind, v); }},
    {"--no-tcp", "", "do not listen on TCP",
     [](Options& o, std::string_view) { return setFlag(o.tcp, false); }},
    {"--usbmux", "SOCKET", "also stand behind an own mux server on this local socket",
     [](Options& o, std::string_view v) { return storeText(o.muxSocket, v); }},
    {"--udid", "UDID", "the device's identifier at the mux server",
     [](Options& o, std::string_view v) { return storeWord(o.udid, v); }},

    {"--announce", "NAME", "announce the TCP port under this name on the network, through Avahi",
     [](Options& o, std::string_view v) { return storeAnnounced(o.announcedName, v, 63); }},
    {"--model", "MODEL", "announce this model with it",
     [](Options& o, std::string_view v) { return storeAnnounced(o.announcedModel, v, 200); }},

    {"--greeting", "TEXT", "the whole greeting line", setGreeting},
    {"--panel", "WxH", "panel size in pixels (default 2048x1536)", setPanel},
    {"--panel-report", "WxH@SECOND", "report this panel size so long after the accept; repeatable",
     addPanelReport},
    {"--touch", "ACTION,X,Y@SECOND",
     "send a touch then: hover, press, drag, release at fractions X,Y; scroll by X,Y pixels; repeatable",
     addTouch},
    {"--finger", "ACTION,X,Y@SECOND",
     "the same at fractions X,Y of the panel, converted to the display that it shows; repeatable", addFinger},

    {"--headless", "", "no window; every decoded frame counts as shown",
     [](Options& o, std::string_view) { return setFlag(o.headless); }},
    {"--no-decode", "", "decode nothing: every received frame counts as shown; to measure a host beside it",
     [](Options& o, std::string_view) { return setFlag(o.decodes, false); }},
    {"--window", "WxH", "the window's size at first (default: the panel's, as far as the desktop allows)",
     [](Options& o, std::string_view v) { return storeParsed(o.window, parseSize(v)); }},
    {"--view-only", "", "the mouse over the window touches nothing",
     [](Options& o, std::string_view) { return setFlag(o.viewOnly); }},
    {"--follow-window", "", "report the window's size as the panel when it changes",
     [](Options& o, std::string_view) { return setFlag(o.followWindow); }},
    {"--display", "WxH", "shape of a mirrored display, so that touches land exactly",
     [](Options& o, std::string_view v) { return storeParsed(o.mirroredDisplay, parseSize(v)); }},

    {"--seconds", "N", "end after so many seconds",
     [](Options& o, std::string_view v) { return storeParsed(o.runTime, parseSeconds(v)); }},
    {"--snapshot", "FILE.png", "write the last decoded picture at the end",
     [](Options& o, std::string_view v) { return storeText(o.snapshotFile, v); }},
    {"--snapshot-pointer", "", "draw the pointer into the snapshot",
     [](Options& o, std::string_view) { return setFlag(o.snapshotPointer); }},
    {"--record", "FILE.h264", "write the received stream, playable as it is",
     [](Options& o, std::string_view v) { return storeText(o.recordFile, v); }},
    {"--json", "FILE", "write a summary at the end",
     [](Options& o, std::string_view v) { return storeText(o.summaryFile, v); }},
    {"--counter-log", "FILE", "per shown frame: pts (us), arrival and decoded (ns), counter in the picture",
     [](Options& o, std::string_view v) { return storeText(o.counterLog, v); }},
    {"--counter-scale", "F", "picture pixels per screen pixel, for the counter (default 1)", setCounterScale},
    {"--message-log", "FILE", "per message: first and last byte (ns), type, length, pts; x y of a pointer",
     [](Options& o, std::string_view v) { return storeText(o.messageLog, v); }},

    {"--fault", "FAULT",
     "misbehave: no-ack, no-keepalive, silent, garbage, slow:BYTES_PER_SECOND, stall:SECONDS@SECOND, "
     "cut:BYTES; repeatable",
     [](Options& o, std::string_view v) { return addFault(o.faults, v); }},

    {"--help", "", "show this", [](Options& o, std::string_view) { return setFlag(o.help); }},
    {"--version", "", "show the version", [](Options& o, std::string_view) { return setFlag(o.version); }},
};

const OptionRule& ruleOf(std::string_view name) {
    const auto rule = std::find_if(std::begin(kRules), std::end(kRules),
                                   [&](const OptionRule& each) { return each.name == name; });
    if (rule == std::end(kRules)) {
        throw OptionError("unknown option " + std::string(name) + "; --help lists them all");
    }
    return *rule;
}

}  // namespace

std::string Options::greetingLine(Size panelNow) const {
    return greeting ? *greeting : panelGreeting(panelNow);
}

Options parseOptions(std::span<const char* const> arguments) {
    Options options;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const OptionRule& rule = ruleOf(arguments[i]);
        std::string_view value;
        if (!rule.value.empty()) {
            if (++i == arguments.size()) {
                throw OptionError(std::string(rule.name) + " needs a value: " + std::string(rule.value));
            }
            value = arguments[i];
        }
        if (!rule.apply(options, value)) {
            throw OptionError(std::string(rule.name) + " expects " + std::string(rule.value) + ", not \"" +
                              std::string(value) + "\"");
        }
    }
    if (!options.tcp && !options.muxSocket)
        throw OptionError("--no-tcp needs --usbmux: no host could reach the device");
    if (!options.tcp && options.announcedName)
        throw OptionError("--announce needs TCP: --no-tcp leaves nothing to announce");
    if (!options.decodes && (!options.headless || options.snapshotFile || options.counterLog))
        throw OptionError(
            "--no-decode needs --headless, and leaves no picture for --snapshot or --counter-log");
    if (options.followWindow && options.headless) throw OptionError("--follow-window needs a window");
    return options;
}

std::string helpText() {
    std::string text =
        "quillon-device: the device end of a QuillonHost link\n\n"
        "Usage: quillon-device [options]\n\n";
    for (const OptionRule& rule : kRules) {
        const std::string head =
            std::string(rule.name) + (rule.value.empty() ? "" : " ") + std::string(rule.value);
        text += formatted("  %-34s %.*s\n", head.c_str(), static_cast<int>(rule.meaning.size()),
                          rule.meaning.data());
    }
    return text;
}

}  // namespace quillon::device
