#include "app/popover_content.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace quillon {
namespace {

using testing::ElementsAre;
using Dot = PanelContent::Dot;
using Kind = PopoverChange::Kind;

PopoverSnapshot running() {
    PopoverSnapshot snapshot;
    snapshot.status = "iPad display 1024×768 · USB";
    snapshot.stats = "30 fps · 12 ms";
    snapshot.link = "USB";
    snapshot.streaming = true;
    snapshot.deviceLabels = {"Automatic", "Studio"};
    snapshot.deviceValues = {"", "u|h"};
    snapshot.deviceDetails = {"", "USB + Wi-Fi"};
    snapshot.selectedDevice = 1;
    snapshot.resolution = "1366x1024";
    snapshot.resolutions = {"1024x768", "1366x1024"};
    snapshot.quality = "balanced";
    snapshot.scaling = "fill";
    snapshot.smoothness = "3";
    snapshot.transport = "auto";
    snapshot.position = "below";
    snapshot.state = SessionState::Kind::running;
    return snapshot;
}

const PanelRow& rowOf(const PanelContent& content, const std::string& id) {
    return *std::ranges::find(content.rows, id, &PanelRow::id);
}

std::vector<std::string> labels(const PanelRow& row) {
    std::vector<std::string> labels;
    for (const PanelPill& pill : row.pills) labels.push_back(pill.label);
    return labels;
}

std::vector<std::string> selectedIn(const PanelRow& row) {
    std::vector<std::string> values;
    for (const PanelPill& pill : row.pills) {
        if (pill.selected) values.push_back(pill.value);
    }
    return values;
}

TEST(PopoverContentTest, TheHeaderTellsStateAndStatistics) {
    PopoverSnapshot snapshot = running();
    PanelContent content = panelContent(snapshot);
    EXPECT_EQ(content.title, "Quillon");
    EXPECT_EQ(content.status, "iPad display 1024×768 · USB");
    EXPECT_EQ(content.statistics, "30 fps · 12 ms");
    snapshot.flow = "USB · 30 fps · 17.8 Mbps · p50 12 ms · drops 0";
    EXPECT_EQ(panelContent(snapshot).statistics, snapshot.flow) << "whatever says more";
}

TEST(PopoverContentTest, TheDotTellsTheStatesApart) {
    PopoverSnapshot snapshot = running();
    std::set<std::string> words;
    const auto dot = [&](SessionState::Kind state, const std::string& link) {
        snapshot.state = state;
        snapshot.link = link;
        words.insert(panelContent(snapshot).dotDescription);
        return panelContent(snapshot).dot;
    };
    EXPECT_EQ(dot(SessionState::Kind::running, "USB"), Dot::runningOverUSB);
    EXPECT_EQ(dot(SessionState::Kind::running, "USB link (169.254.3.4)"), Dot::runningOverUSB);
    EXPECT_EQ(dot(SessionState::Kind::running, "Wi-Fi (10.0.0.2)"), Dot::runningOverWiFi);
    EXPECT_EQ(dot(SessionState::Kind::failed, "USB"), Dot::failed);
    EXPECT_EQ(dot(SessionState::Kind::starting, "USB"), Dot::starting);
    EXPECT_EQ(dot(SessionState::Kind::idle, "USB"), Dot::stopped);
    EXPECT_EQ(words.size(), 5u) << "for those who do not see the colour";
}

TEST(PopoverContentTest, RowsStandInTheirOrder) {
    const PanelContent content = panelContent(running());
    std::vector<std::string> ids;
    for (const PanelRow& row : content.rows) ids.push_back(row.id);
    EXPECT_THAT(ids, ElementsAre("mode", "device", "resolution", "quality", "scaling", "smoothness",
                                 "transport", "position"));
    EXPECT_EQ(content.rows[0].style, PanelRow::Style::segments);
}

TEST(PopoverContentTest, EachRowSelectsTheCurrentChoice) {
    const PanelContent content = panelContent(running());
    EXPECT_THAT(selectedIn(rowOf(content, "mode")), ElementsAre("extend"));
    EXPECT_THAT(selectedIn(rowOf(content, "device")), ElementsAre("u|h"));
    EXPECT_THAT(selectedIn(rowOf(content, "resolution")), ElementsAre("1366x1024"));
    EXPECT_THAT(selectedIn(rowOf(content, "quality")), ElementsAre("balanced"));
    EXPECT_THAT(selectedIn(rowOf(content, "scaling")), ElementsAre("fill"));
    EXPECT_THAT(selectedIn(rowOf(content, "smoothness")), ElementsAre("3"));
    EXPECT_THAT(selectedIn(rowOf(content, "transport")), ElementsAre("auto"));
    EXPECT_THAT(selectedIn(rowOf(content, "position")), ElementsAre("below"));
}

TEST(PopoverContentTest, PillsAreShortAndSayWhatTheyMean) {
    const PanelContent content = panelContent(running());
    EXPECT_THAT(labels(rowOf(content, "quality")), ElementsAre("Best", "Balanced", "Fast"));
    EXPECT_THAT(labels(rowOf(content, "scaling")), ElementsAre("Fit", "Fill", "Stretch"));
    EXPECT_THAT(labels(rowOf(content, "smoothness")), ElementsAre("Off", "Smooth", "Smoother"));
    EXPECT_THAT(labels(rowOf(content, "transport")), ElementsAre("USB", "Wi-Fi", "Auto — prefer USB"));
    EXPECT_THAT(labels(rowOf(content, "position")), ElementsAre("Left", "Right", "Above", "Below"));
    for (const char* id : {"quality", "scaling", "smoothness", "transport", "position"}) {
        for (const PanelPill& pill : rowOf(content, id).pills) EXPECT_NE(pill.detail, "") << pill.label;
    }
}

TEST(PopoverContentTest, DevicesTellTheirLinksAndCanBeLookedForAgain) {
    const PanelRow devices = rowOf(panelContent(running()), "device");
    EXPECT_EQ(devices.title, "Device");
    EXPECT_THAT(labels(devices), ElementsAre("Automatic", "Studio"));
    EXPECT_EQ(devices.pills[1].detail, "USB + Wi-Fi");
    EXPECT_EQ(devices.button->label, "Scan Again");
    EXPECT_EQ(devices.button->id, "rescan");
}

TEST(PopoverContentTest, AChosenDeviceThatIsNotListedSelectsNone) {
    PopoverSnapshot snapshot = running();
    snapshot.selectedDevice = -1;
    EXPECT_THAT(selectedIn(rowOf(panelContent(snapshot), "device")), ElementsAre());
}

TEST(PopoverContentTest, MirroringHasNoResolution) {
    PopoverSnapshot snapshot = running();
    snapshot.mirror = true;
    const PanelContent content = panelContent(snapshot);
    EXPECT_THAT(selectedIn(rowOf(content, "mode")), ElementsAre("mirror"));
    EXPECT_EQ(rowOf(content, "resolution").note, "not used when mirroring");
    EXPECT_TRUE(rowOf(content, "resolution").pills.empty());
}

TEST(PopoverContentTest, SwitchesStandInTheirOrder) {
    PopoverSnapshot snapshot = running();
    snapshot.preventSleep = true;
    std::vector<std::string> names;
    std::vector<std::string> on;
    for (const PanelSwitch& each : panelContent(snapshot).switches) {
        names.push_back(each.label);
        if (each.on) on.push_back(each.label);
    }
    EXPECT_THAT(names, ElementsAre("Launch at Login", "Prevent Display from Sleep", "Connect on Launch",
                                   "Overlay on iPad", "Classic menu"));
    EXPECT_THAT(on, ElementsAre("Prevent Display from Sleep"));

    snapshot.launchAtLogin = snapshot.autoStart = snapshot.overlay = true;
    snapshot.popover = false;
    for (const PanelSwitch& each : panelContent(snapshot).switches) EXPECT_TRUE(each.on) << each.label;
}

TEST(PopoverContentTest, PermissionsAreGrantedOrCanBe) {
    PopoverSnapshot snapshot = running();
    snapshot.screenRecording = true;
    const auto permissions = panelContent(snapshot).permissions;
    ASSERT_EQ(permissions.size(), 2u);
    EXPECT_EQ(permissions[0].label, "Screen Recording");
    EXPECT_TRUE(permissions[0].granted);
    EXPECT_EQ(permissions[0].text, "Granted");
    EXPECT_EQ(permissions[1].label, "Accessibility");
    EXPECT_FALSE(permissions[1].granted);
    EXPECT_EQ(permissions[1].button.label, "Open Settings");
    EXPECT_EQ(permissions[1].button.id, "openAccessibilitySettings");
}

TEST(PopoverContentTest, ADesktopThatAsksForNothingIsWordedSo) {
    PopoverSnapshot snapshot = running();
    snapshot.screenRecording = true;
    EXPECT_EQ(panelContent(snapshot).permissions[0].toolTip, "");
    snapshot.permissionsAsked = false;
    EXPECT_EQ(panelContent(snapshot).permissions[0].toolTip, "This desktop asks for no such permission.");
}

TEST(PopoverContentTest, TheFooterAndTheButtons) {
    PopoverSnapshot snapshot = running();
    const PanelContent content = panelContent(snapshot);
    std::vector<std::string> footer;
    for (const PanelButton& button : content.footer) footer.push_back(button.label);
    EXPECT_THAT(footer, ElementsAre("Log", "About", "Quit"));
    EXPECT_EQ(content.buttons.at(0).label, "Wi-Fi Address…");
    EXPECT_EQ(content.streamButton.label, "Stop");
    snapshot.streaming = false;
    EXPECT_EQ(panelContent(snapshot).streamButton.label, "Start");
}

TEST(PopoverChangeTest, EveryControlReportsItsChange) {
    EXPECT_EQ(popoverChange({"mode", "mirror"}), (PopoverChange{.kind = Kind::mode, .mirror = true}));
    EXPECT_EQ(popoverChange({"mode", "extend"}), (PopoverChange{.kind = Kind::mode, .mirror = false}));
    EXPECT_EQ(popoverChange({"quality", "fast"}), (PopoverChange{.kind = Kind::quality, .value = "fast"}));
    EXPECT_EQ(popoverChange({"quit"}), (PopoverChange{.kind = Kind::quit}));
    EXPECT_EQ(popoverChange({"openAccessibilitySettings"}),
              (PopoverChange{.kind = Kind::openAccessibilitySettings}));
    EXPECT_EQ(popoverChange({"nothing"}), std::nullopt);
    EXPECT_EQ(popoverChange({""}), std::nullopt);
}

TEST(PopoverChangeTest, NoControlIsWithoutAChange) {
    PopoverSnapshot snapshot = running();
    const PanelContent content = panelContent(snapshot);
    std::set<std::string> ids{content.streamButton.id};
    for (const auto& row : content.rows) {
        ids.insert(row.id);
        if (row.button) ids.insert(row.button->id);
    }
    for (const auto& each : content.switches) ids.insert(each.id);
    for (const auto& each : content.buttons) ids.insert(each.id);
    for (const auto& each : content.footer) ids.insert(each.id);
    for (const auto& each : content.permissions) ids.insert(each.button.id);
    EXPECT_EQ(ids.size(), 21u) << "one for each change";
    for (const std::string& id : ids) EXPECT_TRUE(popoverChange({id})) << id;
}

}  // namespace
}  // namespace quillon
