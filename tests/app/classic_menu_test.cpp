#include "app/classic_menu.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/simulated/shell.hpp"

namespace quillon {
namespace {

using simulated::findItem;
using testing::ElementsAre;

/// A fresh account without devices.
PopoverSnapshot fresh() {
    PopoverSnapshot snapshot;
    snapshot.status = "Stopped";
    snapshot.deviceLabels = {"Automatic"};
    snapshot.deviceValues = {""};
    snapshot.deviceDetails = {""};
    snapshot.deviceName = "Automatic";
    snapshot.resolution = "1024x768";
    snapshot.resolutions = {"1024x768", "1366x1024"};
    snapshot.quality = "best";
    snapshot.scaling = "fit";
    snapshot.smoothness = "0";
    snapshot.transport = "auto";
    snapshot.position = "right";
    snapshot.autoStart = true;
    snapshot.overlay = true;
    return snapshot;
}

std::vector<std::string> titles(const Menu& menu) {
    std::vector<std::string> titles;
    for (const MenuItem& item : menu) titles.push_back(item.isSeparator ? "---" : item.title);
    return titles;
}

std::vector<std::string> checkedTitles(const Menu& menu) {
    std::vector<std::string> titles;
    for (const MenuItem& item : menu) {
        if (item.checked) titles.push_back(item.title);
    }
    return titles;
}

std::vector<std::string> values(const Menu& menu) {
    std::vector<std::string> values;
    for (const MenuItem& item : menu) values.push_back(item.representedObject.value_or("none"));
    return values;
}

TEST(ClassicMenuTest, HasAllItemsInOrder) {
    const Menu menu = classicMenu(fresh());
    EXPECT_THAT(titles(menu), ElementsAre("Quillon — Stopped", "---", "Extend Display", "Mirror Main Display",
                                          "---", "Device — Automatic", "---", "Resolution — 1024x768",
                                          "Quality — Best", "Scaling — Fit (bars)", "Smoothness — Off", "---",
                                          "Transport — Auto", "Position — Right", "---", "Stop Streaming",
                                          "---", "Preferences", "Open Log", "About Quillon", "Quit Quillon"));
    EXPECT_THAT(titles(findItem(menu, "Preferences")->submenu),
                ElementsAre("Launch at Login", "Prevent Display from Sleep", "Connect on Launch",
                            "Popover menu", "Screen Recording — Not granted", "Accessibility — Not granted",
                            "Overlay on iPad", "Wi-Fi Address…"));
}

TEST(ClassicMenuTest, TheHeaderIsThereToBeRead) {
    PopoverSnapshot snapshot = fresh();
    snapshot.status = "Failed: iPad not reachable";
    snapshot.flow = "USB · 30 fps";
    const MenuItem header = classicMenu(snapshot).front();
    EXPECT_EQ(header.title, "Quillon — Failed: iPad not reachable");
    EXPECT_FALSE(header.enabled);
    EXPECT_EQ(header.action, "");
    EXPECT_EQ(header.toolTip, "USB · 30 fps");
}

TEST(ClassicMenuTest, EveryActionHasItsNameAndKey) {
    const Menu menu = classicMenu(fresh());
    const std::vector<std::tuple<std::string, std::string, std::string>> expected{
        {"Extend Display", "chooseExtend", "1"},
        {"Mirror Main Display", "chooseMirror", "2"},
        {"Automatic", "chooseDevice", ""},
        {"Scan Again", "rescanDevices", ""},
        {"1366x1024", "setResolutionFromMenu", ""},
        {"Balanced — 75% raster", "setQualityFromMenu", ""},
        {"Fill — crop to the panel, loses edges", "setScalingFromMenu", ""},
        {"Smooth — +~100 ms, less jerk", "setSmoothingFromMenu", ""},
        {"USB (cable)", "setTransportFromMenu", ""},
        {"Above", "setPositionFromMenu", ""},
        {"Stop Streaming", "stopStreaming", "."},
        {"Launch at Login", "toggleLaunchAtLogin", ""},
        {"Prevent Display from Sleep", "togglePreventSleep", ""},
        {"Connect on Launch", "toggleAutoStart", ""},
        {"Popover menu", "togglePopoverUI", ""},
        {"Screen Recording — Not granted", "openPrivacySettings", ""},
        {"Accessibility — Not granted", "openPrivacySettings", ""},
        {"Overlay on iPad", "toggleOverlay", ""},
        {"Wi-Fi Address…", "setWiFiAddress", ""},
        {"Open Log", "openLog", ""},
        {"About Quillon", "showAbout", ""},
        {"Quit Quillon", "quit", "q"},
    };
    for (const auto& [title, action, key] : expected) {
        const MenuItem* item = findItem(menu, title);
        ASSERT_NE(item, nullptr) << title;
        EXPECT_EQ(item->action, action) << title;
        EXPECT_EQ(item->key, key) << title;
    }
}

TEST(ClassicMenuTest, ExtendOrMirrorIsChecked) {
    PopoverSnapshot snapshot = fresh();
    EXPECT_THAT(checkedTitles(classicMenu(snapshot)), ElementsAre("Extend Display"));
    snapshot.mirror = true;
    EXPECT_THAT(checkedTitles(classicMenu(snapshot)), ElementsAre("Mirror Main Display"));
}

TEST(ClassicMenuTest, AnEmptyDeviceListSaysSo) {
    const Menu devices = findItem(classicMenu(fresh()), "Device — Automatic")->submenu;
    EXPECT_THAT(titles(devices), ElementsAre("Automatic", "No devices running Quillon", "---", "Scan Again"));
    EXPECT_FALSE(devices[1].enabled);
    EXPECT_TRUE(devices[0].checked);
    EXPECT_EQ(devices[0].representedObject, "");
}

TEST(ClassicMenuTest, DevicesTellTheirLinks) {
    PopoverSnapshot snapshot = fresh();
    snapshot.deviceLabels = {"Automatic", "Anna's tablet", "Studio"};
    snapshot.deviceValues = {"", "u|h", "|10.0.0.2"};
    snapshot.deviceDetails = {"", "USB + Wi-Fi", "Wi-Fi only"};
    snapshot.deviceName = "Studio";
    snapshot.selectedDevice = 2;
    const Menu devices = findItem(classicMenu(snapshot), "Device — Studio")->submenu;
    EXPECT_THAT(titles(devices), ElementsAre("Automatic", "Anna's tablet", "Studio", "---", "Scan Again"));
    EXPECT_EQ(devices[1].toolTip, "USB + Wi-Fi");
    EXPECT_EQ(devices[2].toolTip, "Wi-Fi only");
    EXPECT_EQ(devices[2].representedObject, "|10.0.0.2");
    EXPECT_THAT(checkedTitles(devices), ElementsAre("Studio"));
}

TEST(ClassicMenuTest, AChosenDeviceThatIsNotThereIsNamedButNotChecked) {
    PopoverSnapshot snapshot = fresh();
    snapshot.deviceName = "Quillon on Tablet13,8";
    snapshot.selectedDevice = -1;
    const Menu devices = findItem(classicMenu(snapshot), "Device — Quillon on Tablet13,8")->submenu;
    EXPECT_THAT(checkedTitles(devices), ElementsAre());
}

TEST(ClassicMenuTest, ResolutionsCarryTheirSize) {
    const Menu sizes = findItem(classicMenu(fresh()), "Resolution — 1024x768")->submenu;
    EXPECT_THAT(titles(sizes), ElementsAre("1024x768", "1366x1024"));
    EXPECT_THAT(values(sizes), ElementsAre("1024x768", "1366x1024"));
    EXPECT_THAT(checkedTitles(sizes), ElementsAre("1024x768"));
}

TEST(ClassicMenuTest, MirroringHasNoResolution) {
    PopoverSnapshot snapshot = fresh();
    snapshot.mirror = true;
    const Menu menu = classicMenu(snapshot);
    const MenuItem* item = findItem(menu, "Resolution — not used when mirroring");
    ASSERT_NE(item, nullptr);
    EXPECT_FALSE(item->enabled);
    EXPECT_TRUE(item->submenu.empty());
}

TEST(ClassicMenuTest, ChoicesCarryTheirValues) {
    PopoverSnapshot snapshot = fresh();
    snapshot.quality = "fast";
    snapshot.scaling = "stretch";
    snapshot.smoothness = "3";
    snapshot.transport = "wifi";
    snapshot.position = "below";
    const Menu menu = classicMenu(snapshot);

    const Menu qualities = findItem(menu, "Quality — Fast")->submenu;
    EXPECT_THAT(titles(qualities),
                ElementsAre("Best — full detail", "Balanced — 75% raster", "Fast — 50%, best for Wi-Fi"));
    EXPECT_THAT(values(qualities), ElementsAre("best", "balanced", "fast"));
    EXPECT_THAT(checkedTitles(qualities), ElementsAre("Fast — 50%, best for Wi-Fi"));

    const Menu scalings = findItem(menu, "Scaling — Stretch")->submenu;
    EXPECT_THAT(values(scalings), ElementsAre("fit", "fill", "stretch"));
    EXPECT_THAT(checkedTitles(scalings), ElementsAre("Stretch — fills, distorted"));

    const Menu smoothness = findItem(menu, "Smoothness — Smooth")->submenu;
    EXPECT_THAT(values(smoothness), ElementsAre("0", "3", "6"));
    EXPECT_THAT(checkedTitles(smoothness), ElementsAre("Smooth — +~100 ms, less jerk"));
    EXPECT_EQ(smoothness[0].title, "Off — lowest latency");

    const Menu transports = findItem(menu, "Transport — Wi-Fi")->submenu;
    EXPECT_THAT(titles(transports), ElementsAre("USB (cable)", "Wi-Fi", "Auto (prefer USB)"));
    EXPECT_THAT(values(transports), ElementsAre("usb", "wifi", "auto"));
    EXPECT_THAT(checkedTitles(transports), ElementsAre("Wi-Fi"));

    const Menu positions = findItem(menu, "Position — Below")->submenu;
    EXPECT_THAT(titles(positions), ElementsAre("Left", "Right", "Above", "Below"));
    EXPECT_THAT(values(positions), ElementsAre("left", "right", "above", "below"));
    EXPECT_THAT(checkedTitles(positions), ElementsAre("Below"));
}

TEST(ClassicMenuTest, ParentsTellEveryCurrentChoice) {
    PopoverSnapshot snapshot = fresh();
    snapshot.quality = "balanced";
    snapshot.scaling = "fill";
    snapshot.smoothness = "7";
    snapshot.transport = "usb";
    snapshot.position = "behind";
    const Menu menu = classicMenu(snapshot);
    EXPECT_NE(findItem(menu, "Quality — Balanced"), nullptr);
    EXPECT_NE(findItem(menu, "Scaling — Fill (crop)"), nullptr);
    ASSERT_NE(findItem(menu, "Smoothness — Smooth"), nullptr);
    EXPECT_THAT(checkedTitles(findItem(menu, "Smoothness — Smooth")->submenu), ElementsAre());
    EXPECT_NE(findItem(menu, "Transport — USB"), nullptr);
    EXPECT_NE(findItem(menu, "Position — behind"), nullptr) << "a position is any text";
}

TEST(ClassicMenuTest, OnlyARunningSessionCanBeStopped) {
    PopoverSnapshot snapshot = fresh();
    EXPECT_FALSE(findItem(classicMenu(snapshot), "Stop Streaming")->enabled);
    snapshot.streaming = true;
    EXPECT_TRUE(findItem(classicMenu(snapshot), "Stop Streaming")->enabled);
}

TEST(ClassicMenuTest, PreferencesShowWhatIsOn) {
    PopoverSnapshot snapshot = fresh();
    EXPECT_THAT(checkedTitles(findItem(classicMenu(snapshot), "Preferences")->submenu),
                ElementsAre("Connect on Launch", "Popover menu", "Overlay on iPad"));
    snapshot.launchAtLogin = snapshot.preventSleep = true;
    snapshot.autoStart = snapshot.popover = snapshot.overlay = false;
    EXPECT_THAT(checkedTitles(findItem(classicMenu(snapshot), "Preferences")->submenu),
                ElementsAre("Launch at Login", "Prevent Display from Sleep"));
}

TEST(ClassicMenuTest, AGrantedPermissionAsksForNothing) {
    PopoverSnapshot snapshot = fresh();
    snapshot.screenRecording = true;
    Menu menu = classicMenu(snapshot);
    const MenuItem* granted = findItem(menu, "Screen Recording — Granted");
    ASSERT_NE(granted, nullptr);
    EXPECT_EQ(granted->action, "");
    EXPECT_EQ(findItem(menu, "Accessibility — Not granted")->representedObject, "accessibility");

    snapshot.screenRecording = false;
    menu = classicMenu(snapshot);
    EXPECT_EQ(findItem(menu, "Screen Recording — Not granted")->representedObject, "screenRecording");
}

TEST(ClassicMenuTest, ADesktopThatAsksForNothingIsWordedSo) {
    PopoverSnapshot snapshot = fresh();
    snapshot.screenRecording = snapshot.accessibility = true;
    snapshot.permissionsAsked = false;
    const Menu menu = classicMenu(snapshot);
    EXPECT_NE(findItem(menu, "Screen Recording — Always granted"), nullptr);
    EXPECT_NE(findItem(menu, "Accessibility — Always granted"), nullptr);
}

}  // namespace
}  // namespace quillon
