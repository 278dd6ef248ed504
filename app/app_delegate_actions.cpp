#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "app/app_delegate.hpp"
#include "base/log.hpp"
#include "base/text.hpp"

// What the user does: menu items and the panel's controls run the same actions.

namespace quillon {

namespace {

constexpr Duration kRestartPause = 500ms;

/// The action that each change of the panel runs, in the order of the changes; `mode` has one for each value.
constexpr std::array<std::string_view, 21> kActionOfChange{
    "",
    "chooseDevice",
    "setResolutionFromMenu",
    "setQualityFromMenu",
    "setScalingFromMenu",
    "setSmoothingFromMenu",
    "setTransportFromMenu",
    "setPositionFromMenu",
    "toggleStreaming",
    "rescanDevices",
    "openLog",
    "showAbout",
    "quit",
    "togglePopoverUI",
    "toggleLaunchAtLogin",
    "togglePreventSleep",
    "toggleAutoStart",
    "toggleOverlay",
    "setWiFiAddress",
    "openPrivacySettings",
    "openPrivacySettings",
};

/// The menu item that would ask for the same.
MenuItem senderOf(const PopoverChange& change) {
    using Kind = PopoverChange::Kind;
    MenuItem sender;
    sender.action = kActionOfChange[static_cast<size_t>(change.kind)];
    sender.representedObject = change.value;
    if (change.kind == Kind::mode) sender.action = change.mirror ? "chooseMirror" : "chooseExtend";
    if (change.kind == Kind::openScreenRecordingSettings) sender.representedObject = "screenRecording";
    if (change.kind == Kind::openAccessibilitySettings) sender.representedObject = "accessibility";
    return sender;
}

std::string trimmed(const std::string& text) {
    constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

void AppDelegate::perform(const MenuItem& sender) {
    struct Action {
        std::string_view name;
        void (AppDelegate::*run)(const MenuItem& sender);
    };
    static constexpr std::array kActions{
        Action{"chooseExtend", &AppDelegate::chooseExtend},
        Action{"chooseMirror", &AppDelegate::chooseMirror},
        Action{"chooseDevice", &AppDelegate::chooseDevice},
        Action{"rescanDevices", &AppDelegate::rescanDevices},
        Action{"setResolutionFromMenu", &AppDelegate::setResolutionFromMenu},
        Action{"setQualityFromMenu", &AppDelegate::setQualityFromMenu},
        Action{"setScalingFromMenu", &AppDelegate::setScalingFromMenu},
        Action{"setSmoothingFromMenu", &AppDelegate::setSmoothingFromMenu},
        Action{"setTransportFromMenu", &AppDelegate::setTransportFromMenu},
        Action{"setPositionFromMenu", &AppDelegate::setPositionFromMenu},
        Action{"stopStreaming", &AppDelegate::stopStreaming},
        Action{"toggleStreaming", &AppDelegate::toggleStreaming},
        Action{"toggleLaunchAtLogin", &AppDelegate::toggleLaunchAtLogin},
        Action{"togglePreventSleep", &AppDelegate::togglePreventSleep},
        Action{"toggleAutoStart", &AppDelegate::toggleAutoStart},
        Action{"togglePopoverUI", &AppDelegate::togglePopoverUI},
        Action{"openPrivacySettings", &AppDelegate::openPrivacySettings},
        Action{"toggleOverlay", &AppDelegate::toggleOverlay},
        Action{"setWiFiAddress", &AppDelegate::setWiFiAddress},
        Action{"openLog", &AppDelegate::openLog},
        Action{"showAbout", &AppDelegate::showAbout},
        Action{"quit", &AppDelegate::quit},
    };
    const auto action = std::ranges::find(kActions, sender.action, &Action::name);
    if (action == kActions.end()) return;
    (this->*action->run)(sender);
    refreshFrontEnds();
}

void AppDelegate::applyPopoverChange(const PopoverChange& change) {
    perform(senderOf(change));
}

void AppDelegate::chooseMode(bool mirror) {
    settings_.setMirror(mirror);
    if (session_->state().isRunning()) {
        session_->setMirror(mirror);
    } else {
        startSession();
    }
}

void AppDelegate::setResolutionFromMenu(const MenuItem& sender) {
    const std::string text = sender.representedObject.value_or("");
    const auto pieces = splitDroppingEmpty(text, 'x');
    if (pieces.size() != 2) return;
    const auto width = parseInteger(pieces[0]);
    const auto height = parseInteger(pieces[1]);
    if (!width || !height) return;
    settings_.setResolution(*width, *height);
    const auto points = [](int64_t number) {
        return static_cast<int>(std::clamp<int64_t>(number, 0, std::numeric_limits<int>::max()));
    };
    session_->setResolution(points(*width), points(*height));
}

void AppDelegate::setQualityFromMenu(const MenuItem& sender) {
    const auto quality = parseStreamQuality(sender.representedObject.value_or(""));
    if (!quality) return;
    settings_.setQuality(activeLink(), *quality);
    session_->setQuality(*quality);
}

void AppDelegate::setScalingFromMenu(const MenuItem& sender) {
    const auto scaling = parseScaling(sender.representedObject.value_or(""));
    if (!scaling) return;
    settings_.setScaling(*scaling);
    session_->setScaling(*scaling);
}

void AppDelegate::setSmoothingFromMenu(const MenuItem& sender) {
    const int64_t frames = parseInteger(sender.representedObject.value_or("")).value_or(0);
    settings_.setSmoothness(activeLink(), frames);
    session_->setSmoothing(frames);
}

void AppDelegate::setTransportFromMenu(const MenuItem& sender) {
    const auto transport = parseTransport(sender.representedObject.value_or(""));
    if (!transport) return;
    settings_.setTransport(*transport);
    session_->setTransport(*transport);
}

void AppDelegate::setPositionFromMenu(const MenuItem& sender) {
    settings_.setPosition(sender.representedObject.value_or("right"));
    session_->setPosition(settings_.position());
}

void AppDelegate::stopStreaming(const MenuItem&) {
    retryTimer_.reset();
    session_->stop();
}

void AppDelegate::toggleStreaming(const MenuItem& sender) {
    switch (session_->state().kind) {
        case Session::State::Kind::running:
            stopStreaming(sender);
            break;
        case Session::State::Kind::idle:
            startSession();
            break;
        default:
            // It tries already: from the beginning, and at once.
            retrySession(kRestartPause);
    }
}

void AppDelegate::toggleLaunchAtLogin(const MenuItem&) {
    LoginItem& item = shell_.loginItem();
    try {
        if (item.status() == LoginItem::Status::enabled) {
            item.withdraw();
        } else {
            item.enlist();
        }
    } catch (const LoginItemError& error) {
        Log::write(std::string("launch at login failed: ") + error.what());
    }
    launchAtLoginEnabled_ = item.status() == LoginItem::Status::enabled;
}

void AppDelegate::togglePreventSleep(const MenuItem&) {
    settings_.setPreventSleep(!settings_.preventSleep());
    if (settings_.preventSleep()) {
        takeSleepAssertion();
    } else {
        sleepAssertion_.reset();
    }
}

void AppDelegate::toggleAutoStart(const MenuItem&) {
    settings_.setAutoStart(!settings_.autoStart());
}

void AppDelegate::togglePopoverUI(const MenuItem&) {
    const bool popover = !settings_.usePopover();
    settings_.setUsePopover(popover);
    installStatusItemUI();
    // Without a status item the window is the only way to the application.
    if (!popover && popoverPanel_ && hasStatusArea_) popoverPanel_->close();
    Log::write(std::string("menu: ") + (popover ? "popover" : "classic") + " front end");
}

void AppDelegate::toggleOverlay(const MenuItem&) {
    settings_.setShowOverlay(!settings_.showOverlay());
    session_->setOverlayVisible(settings_.showOverlay());
}

void AppDelegate::openPrivacySettings(const MenuItem& sender) {
    const bool screen = sender.representedObject == "screenRecording";
    const auto pane = screen ? Opener::Pane::screenRecording : Opener::Pane::accessibility;
    if (!shell_.opener().openSettings(pane)) Log::write("cannot open the system's privacy settings");
}

void AppDelegate::setWiFiAddress(const MenuItem&) {
    TextQuestion question;
    question.message = "Wi-Fi address (fallback)";
    question.information =
        "Only needed when Quillon cannot find your device by itself, such as on a network that blocks "
        "Bonjour "
        "discovery.\n\nLeave empty in normal use: picking a device in the menu already remembers its "
        "address.";
    question.text = settings_.wifiHost().value_or("");
    question.placeholder = "192.168.1.20";
    shell_.dialogs().ask(question, [this, life = std::weak_ptr(life_)](std::optional<std::string> text) {
        if (!text || life.expired()) return;
        const std::string host = trimmed(*text);
        settings_.setWifiHost(host);
        Log::write("wifi host set to " + host);
    });
}

void AppDelegate::openLog(const MenuItem&) {
    const auto file = Log::url();
    if (!shell_.opener().openFile(file)) Log::write("cannot open " + file.string());
}

void AppDelegate::showAbout(const MenuItem&) {
    shell_.dialogs().tell({
        .message = "Quillon",
        .information = "Version " + (details_.version.empty() ? "dev" : details_.version) +
                       "\nTurns an iPad into a second display over USB or Wi-Fi.\n\n"
                       "Touch → mouse, drag, two-finger scroll.\nLog: ~/Library/Logs/Quillon.log",
    });
}

PopoverSnapshot AppDelegate::popoverSnapshot() const {
    PopoverSnapshot snapshot;
    snapshot.status = statusLine_;
    snapshot.stats = statsLine_;
    snapshot.link = session_->activeTransport();
    snapshot.streaming = session_->state().isRunning();
    snapshot.mirror = settings_.mirror();
    addDevices(snapshot);
    addResolutions(snapshot);
    snapshot.quality = rawValue(settings_.quality(activeLink()));
    snapshot.scaling = rawValue(settings_.scaling());
    snapshot.smoothness = std::to_string(settings_.smoothness(activeLink()));
    snapshot.transport = rawValue(settings_.transport());
    snapshot.position = settings_.position();
    snapshot.launchAtLogin = launchAtLoginEnabled_;
    snapshot.preventSleep = settings_.preventSleep();
    snapshot.autoStart = settings_.autoStart();
    snapshot.overlay = settings_.showOverlay();
    Permissions& permissions = platform_.permissions();
    snapshot.screenRecording = permissions.canCaptureScreen();
    snapshot.accessibility = permissions.isTrustedForControl();

    snapshot.state = session_->state().kind;
    snapshot.flow = flow_;
    snapshot.popover = settings_.usePopover();
    snapshot.permissionsAsked = permissions.asksUser();
    snapshot.notice = notice_;
    return snapshot;
}

void AppDelegate::addResolutions(PopoverSnapshot& snapshot) const {
    snapshot.resolution = std::to_string(resolvedWidth()) + "x" + std::to_string(resolvedHeight());
    for (const Size size : session_->availableResolutions()) {
        snapshot.resolutions.push_back(sizeText(size));
    }
    // Without a virtual display nobody knows what it would offer.
    if (snapshot.resolutions.empty()) snapshot.resolutions.push_back(snapshot.resolution);
}

}  // namespace quillon
