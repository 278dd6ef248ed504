#include <algorithm>

#include "app/app_delegate.hpp"
#include "base/log.hpp"
#include "base/text.hpp"

// The device list, and the user's choice from it.

namespace quillon {

namespace {
constexpr Duration kTargetPatience = 15s;
}  // namespace

void AppDelegate::refreshDevices() {
    if (menuIsOpen_) return;
    scanner_->scan(session_->connectedUDID(), [this](const FoundDevices& found) { devicesFound(found); });
}

void AppDelegate::devicesFound(const FoundDevices& found) {
    deviceEntries_ =
        quillon::deviceEntries(found, [this](const std::string& udid) { return settings_.modelOf(udid); });
    std::string labels;
    for (const DeviceEntry& entry : deviceEntries_) {
        labels += (labels.empty() ? "" : ", ") + logLabel(entry);
    }
    Log::write("scan: " + labels);
    refreshFrontEnds();
}

void AppDelegate::chooseDevice(const MenuItem& sender) {
    const Settings::Target target = targetOf(sender.representedObject.value_or(""));
    settings_.setTarget(target);
    Log::write("device chosen: " + onOneLine(chosenDeviceName()));
    session_->setTarget(target.udid, target.host);
    scheduleTargetFallback();
}

void AppDelegate::scheduleTargetFallback() {
    targetIsOverdue_ = false;
    targetFallback_ = loop_.addTimer(kTargetPatience, RunLoop::Repeat::once, [this] {
        targetIsOverdue_ = true;
        judgeTarget(session_->state());
    });
}

void AppDelegate::judgeTarget(const Session::State& state) {
    // An address that swallows everything is tried for longer than the patience lasts.
    if (!targetIsOverdue_ || state.kind == Session::State::Kind::starting) return;
    targetIsOverdue_ = false;
    if (state.kind != Session::State::Kind::failed || settings_.target().isAutomatic()) return;
    Log::write("chosen device unreachable, falling back to Automatic");
    settings_.setTarget({});
    session_->setTarget(std::nullopt, std::nullopt);
    refreshFrontEnds();
}

std::string AppDelegate::chosenDeviceName() const {
    const Settings::Target target = settings_.target();
    if (target.isAutomatic()) return "Automatic";
    const auto isChosen = [&](const DeviceEntry& entry) { return isTarget(entry, target); };
    const auto chosen = std::ranges::find_if(deviceEntries_, isChosen);
    if (chosen != deviceEntries_.end()) return chosen->name;
    // Not there at the moment: named as it would be without a name of its own.
    return defaultName(target.udid, target.host,
                       target.udid ? settings_.modelOf(*target.udid) : std::nullopt);
}

void AppDelegate::addDevices(PopoverSnapshot& snapshot) const {
    const Settings::Target target = settings_.target();
    snapshot.deviceName = chosenDeviceName();
    snapshot.deviceLabels = {"Automatic"};
    snapshot.deviceValues = {""};
    snapshot.deviceDetails = {""};
    snapshot.selectedDevice = target.isAutomatic() ? 0 : -1;
    for (const DeviceEntry& entry : deviceEntries_) {
        if (snapshot.selectedDevice < 0 && isTarget(entry, target)) {
            snapshot.selectedDevice = static_cast<int64_t>(snapshot.deviceLabels.size());
        }
        snapshot.deviceLabels.push_back(entry.name);
        snapshot.deviceValues.push_back(choiceText(entry));
        snapshot.deviceDetails.push_back(linksText(entry));
    }
}

}  // namespace quillon
