#include <fstream>
#include <regex>

#include "tests/shell/accessible_windows.hpp"
#include "tests/shell/application_desk.hpp"
#include "tests/shell/toolkit.hpp"

// A click on everything that the application offers, while it streams: what is stored afterwards, what the
// session says, and what arrives at the device.

namespace quillon::testing {
namespace {

/// One of the choices that both front ends offer.
struct Choice {
    std::string item;  ///< of the menu
    std::string pill;
    std::string stored;
    std::string logged;
    std::string told;  ///< by the device
};

const std::vector<Choice> kChoices{
    {"Extend Display", "Extend", "mirror=false", "state: iPad display 1024×768 · USB",
     "settings \"1024×768 |"},
    {"1600x1200", "1600x1200", "resolutionWidth=1600", "resolution set to 1600x1200",
     "settings \"1600×1200 |"},
    {"Balanced — 75% raster", "Balanced", "quality.usb=balanced", "quality set to", "picture 1200x900"},
    {"Fast — 50%, best for Wi-Fi", "Fast", "quality.usb=fast", "quality set to", "picture 800x600"},
    {"Best — full detail", "Best", "quality.usb=best", "quality set to", "picture 1600x1200"},
    {"Fill — crop to the panel, loses edges", "Fill", "scaling=fill", "state: iPad display", "| Fill\""},
    {"Stretch — fills, distorted", "Stretch", "scaling=stretch", "state: iPad display", "| Stretch\""},
    {"Fit — whole screen, bars where shapes differ", "Fit", "scaling=fit", "state: iPad display", "| Fit\""},
    {"Smooth — +~100 ms, less jerk", "Smooth", "smooth.usb=3", "smoothness set to 3", "| Smooth On |"},
    {"Smoother — +~200 ms, for uneven Wi-Fi", "Smoother", "smooth.usb=6", "smoothness set to 6",
     "| Smooth On |"},
    {"Off — lowest latency", "Off", "smooth.usb=0", "smoothness set to 0", "| Smooth Off |"},
    {"USB (cable)", "USB", "transport=usb", "state: iPad display", "link \"USB\""},
    {"Wi-Fi", "Wi-Fi", "transport=wifi", "state: iPad display", "link \"Wi-Fi\""},
    {"Auto (prefer USB)", "Auto — prefer USB", "transport=auto", "state: iPad display", "link \"USB\""},
    {"Left", "Left", "position=left", "position=left applied", ""},
    {"Above", "Above", "position=above", "position=above applied", ""},
    {"Below", "Below", "position=below", "position=below applied", ""},
    {"Right", "Right", "position=right", "position=right applied", ""},
};

/// The device is known from another time.
const std::string kModel = "deviceModel.tablet-1=Tablet13,8\n";

class EveryControlTest : public ApplicationDesk {
  protected:
    void SetUp() override {
        ApplicationDesk::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        installOpener("echo \"$1\" >>" + path("opened").string());
        startDevice();
    }

    std::string logFile() const { return path("Library/Logs/Quillon.log").string(); }

    /// The application has ended, and the desktop is as it was.
    void expectTheEnd() {
        EXPECT_TRUE(deviceSays("left after"));
        EXPECT_EQ(probe().waitForEnd(), 0) << probe().output();
        EXPECT_TRUE(hasMonitors(1));
    }
    /// What the device has seen in all.
    void expectOfTheDevice(const std::string& member) {
        device().signal(SIGTERM);
        EXPECT_EQ(device().waitForEnd(), 0);
        const std::string summary = contentOf("summary.json");
        EXPECT_NE(summary.find(member), std::string::npos) << summary;
        EXPECT_NE(summary.find("\"decodeErrors\": 0"), std::string::npos) << summary;
        EXPECT_GT(std::filesystem::file_size(path("shot.png")), 0U);
    }
};

TEST_F(EveryControlTest, OfTheMenu) {
    storeSettings("popoverUI=false\nautoStart=false\n" + kModel);
    startApplication();
    ASSERT_TRUE(registers());
    ASSERT_TRUE(logs("scan: Quillon on Tablet13,8 [usb]"));
    // As a panel has the menu that never says that it opens.
    ASSERT_TRUE(eventually([&] { return find(host->menuInStore(), "Quillon on Tablet13,8") != nullptr; }));
    EXPECT_FALSE(isEnabled("Quillon — Stopped"));
    EXPECT_FALSE(isEnabled("Stop Streaming"));

    choose("Wi-Fi Address…");
    ASSERT_TRUE(getsAWindow());
    type(" " + address());
    press("Return");
    EXPECT_TRUE(stores("wifiHost=" + address()));
    EXPECT_TRUE(logs("wifi host set to " + address()));

    choose("Extend Display");
    ASSERT_TRUE(logs("state: iPad display 1024×768 · USB"));
    EXPECT_TRUE(deviceSays("settings \"1024×768 | Smooth Off | Fit\""));
    EXPECT_TRUE(hasMonitors(2));
    choose("Mirror Main Display");
    EXPECT_TRUE(stores("mirror=true"));
    EXPECT_TRUE(logs("state: Mirroring main display · USB"));
    EXPECT_TRUE(deviceSays("settings \"Mirror |"));
    EXPECT_TRUE(isChecked("Mirror Main Display"));
    EXPECT_FALSE(isEnabled("Resolution — not used when mirroring"));
    for (const Choice& each : kChoices) {
        choose(each.item);
        EXPECT_TRUE(stores(each.stored));
        ASSERT_TRUE(logs(each.logged)) << each.item;
        ASSERT_TRUE(deviceSays(each.told)) << each.item;
        EXPECT_TRUE(isChecked(each.item)) << each.item;
    }
    EXPECT_TRUE(stores("resolutionHeight=1200"));

    choose("Quillon on Tablet13,8");
    EXPECT_TRUE(stores("target.udid=tablet-1"));
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(isChecked("Quillon on Tablet13,8"));
    choose("Automatic");
    EXPECT_TRUE(storesNo("target.udid"));
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(isChecked("Automatic"));
    choose("Scan Again");
    EXPECT_TRUE(logs("scan: "));

    choose("Stop Streaming");
    EXPECT_TRUE(logs("state: Stopped"));
    EXPECT_TRUE(deviceSays("left after"));
    EXPECT_FALSE(isEnabled("Stop Streaming"));
    choose("Extend Display");
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(isEnabled("Stop Streaming"));

    const auto entry = path("config/autostart/quillon.desktop");
    choose("Launch at Login");
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(entry); }));
    EXPECT_TRUE(isChecked("Launch at Login"));
    choose("Launch at Login");
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(entry); }));
    choose("Prevent Display from Sleep");
    EXPECT_TRUE(stores("preventSleep=true"));
    choose("Connect on Launch");
    EXPECT_TRUE(stores("autoStart=true"));
    choose("Overlay on iPad");
    EXPECT_TRUE(stores("showOverlay=false"));
    EXPECT_TRUE(logs("overlay on device: off"));
    EXPECT_FALSE(isEnabled("Screen Recording — Always granted"));
    EXPECT_FALSE(isEnabled("Accessibility — Always granted"));

    choose("Open Log");
    EXPECT_TRUE(writes("opened", logFile() + "\n"));
    choose("About Quillon");
    ASSERT_TRUE(getsAWindow());
    press("Return");
    EXPECT_TRUE(losesItsWindows());
    choose("Quit Quillon");
    expectTheEnd();
    expectOfTheDevice("\"overlay\": false");
}

/// The panel by its accessible controls.
class EveryControlOfThePanelTest : public EveryControlTest {
  protected:
    void SetUp() override {
        EveryControlTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        windows = std::make_unique<AccessibleWindows>(busAddress());
        environment[AccessibleWindows::kSwitch] = "1";
    }

    /// Waits for a control that is there once, and does not move.
    std::optional<AccessibleWindows::Control> control(const std::string& name) {
        std::optional<AccessibleWindows::Control> found;
        const auto stands = [&] {
            const auto before = found;
            const auto all = windows->controls(name);
            found.reset();
            if (all.size() == 1) found = all.front();
            return found && before && found->x == before->x && found->y == before->y;
        };
        return eventually(stands) ? found : std::nullopt;
    }
    void clickOn(const std::string& name) {
        listen();
        const auto found = control(name);
        ASSERT_TRUE(found) << "no single " << name;
        click({found->x, found->y});
    }
    /// Clicks on a choice until it is stored: the window may move with the desktop just then.
    ::testing::AssertionResult choosePill(const std::string& name, const std::string& line) {
        const auto isStored = [&] { return settings().find("\n" + line + "\n") != std::string::npos; };
        const auto tried = [&] {
            clickOn(name);
            return eventually(isStored, std::chrono::seconds(1));
        };
        return eventually(tried) ? ::testing::AssertionSuccess() : stores(line);
    }
    ::testing::AssertionResult becomesChecked(const std::string& name, bool checked = true) {
        const auto holds = [&] {
            const auto all = windows->controls(name);
            return all.size() == 1 && all.front().checked == checked;
        };
        if (eventually(holds)) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << name << " does not become so";
    }

    std::unique_ptr<AccessibleWindows> windows;
};

TEST_F(EveryControlOfThePanelTest, IsClicked) {
    storeSettings("autoStart=false\nwifiHost=" + address() + "\n" + kModel);
    startApplication();
    ASSERT_TRUE(registers());
    ASSERT_TRUE(logs("scan: Quillon on Tablet13,8 [usb]"));
    host->activate();
    ASSERT_TRUE(getsAWindow());

    clickOn("Start");
    ASSERT_TRUE(logs("state: iPad display 1024×768 · USB"));
    ASSERT_TRUE(control("iPad display 1024×768 · USB"));
    EXPECT_TRUE(choosePill("Mirror", "mirror=true"));
    ASSERT_TRUE(logs("state: Mirroring main display"));
    EXPECT_TRUE(deviceSays("settings \"Mirror |"));
    EXPECT_TRUE(control("not used when mirroring"));
    for (const Choice& each : kChoices) {
        ASSERT_TRUE(choosePill(each.pill, each.stored));
        ASSERT_TRUE(logs(each.logged)) << each.pill;
        ASSERT_TRUE(deviceSays(each.told)) << each.pill;
        EXPECT_TRUE(becomesChecked(each.pill)) << each.pill;
    }
    EXPECT_TRUE(stores("resolutionHeight=1200"));

    EXPECT_TRUE(choosePill("Quillon on Tablet13,8", "target.udid=tablet-1"));
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(becomesChecked("Quillon on Tablet13,8"));
    clickOn("Automatic");
    EXPECT_TRUE(storesNo("target.udid"));
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(becomesChecked("Automatic"));
    clickOn("Scan Again");
    EXPECT_TRUE(logs("scan: "));

    clickOn("Stop");
    EXPECT_TRUE(logs("state: Stopped"));
    EXPECT_TRUE(deviceSays("left after"));
    clickOn("Start");
    ASSERT_TRUE(logs("state: iPad display"));

    const auto entry = path("config/autostart/quillon.desktop");
    clickOn("Launch at Login");
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(entry); }));
    EXPECT_TRUE(becomesChecked("Launch at Login"));
    clickOn("Prevent Display from Sleep");
    EXPECT_TRUE(stores("preventSleep=true"));
    clickOn("Connect on Launch");
    EXPECT_TRUE(stores("autoStart=true"));
    clickOn("Overlay on iPad");
    EXPECT_TRUE(stores("showOverlay=false"));
    EXPECT_TRUE(logs("overlay on device: off"));

    clickOn("Wi-Fi Address…");
    ASSERT_TRUE(control("Save"));
    type("10.0.0.7");  // over the text that is selected
    clickOn("Save");
    EXPECT_TRUE(stores("wifiHost=10.0.0.7"));
    clickOn("About");
    ASSERT_TRUE(control("OK"));
    clickOn("OK");
    clickOn("Log");
    EXPECT_TRUE(writes("opened", logFile() + "\n"));

    // The front ends change over, there and back.
    clickOn("Classic menu");
    EXPECT_TRUE(stores("popoverUI=false"));
    EXPECT_TRUE(losesItsWindows());
    ASSERT_TRUE(registers(2));
    choose("Popover menu");
    EXPECT_TRUE(stores("popoverUI=true"));
    ASSERT_TRUE(registers(3));
    host->activate();
    ASSERT_TRUE(getsAWindow());
    clickOn("Quit");
    expectTheEnd();
    expectOfTheDevice("\"overlay\": false");
}

}  // namespace
}  // namespace quillon::testing
