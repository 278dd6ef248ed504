#include <cstdlib>
#include <fstream>

#include "tests/shell/desk.hpp"
#include "tests/shell/probe/sample.hpp"
#include "tests/shell/toolkit.hpp"

// The shell in a tray of the XEmbed kind, worked by pointer and keyboard.

namespace quillon::testing {
namespace {

class EmbeddedTrayTest : public Desk {
  protected:
    void SetUp() override {
        Desk::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        startTray();
    }
};

TEST_F(EmbeddedTrayTest, ClickShowsAndHidesThePanel) {
    startProbe({});
    openPanel();
    click(trayIcon());
    ASSERT_TRUE(says("panel closed"));
    click(trayIcon());
    ASSERT_TRUE(says("all controls", 2));
    EXPECT_EQ(count("panel closed"), 1) << probe().output();
}

TEST_F(EmbeddedTrayTest, TheFirstPanelFindsItsFonts) {
    startProbe({});
    ASSERT_TRUE(says("launched"));
    const auto hasFonts = [&] {
        std::ifstream maps("/proc/" + std::to_string(probe().pid()) + "/maps");
        for (std::string line; std::getline(maps, line);) {
            if (line.find("/fonts/") != std::string::npos) return true;
        }
        return false;
    };
    EXPECT_TRUE(eventually(hasFonts));
    EXPECT_EQ(count("active"), 0);
}

TEST_F(EmbeddedTrayTest, ThePanelGoesWhereItsScreenGoes) {
    startProbe({});
    openPanel();
    const auto top = [&] {
        std::system(("xdotool getactivewindow getwindowgeometry --shell >" + path("place").string()).c_str());
        std::ifstream file(path("place"));
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("Y=")) return std::stoi(line.substr(2));
        }
        return 0;
    };
    const int before = top();
    Place pill = controls().find("Fill")->second;
    // A display comes above it.
    ASSERT_EQ(
        std::system("xrandr --addmode DUMMY1 1024x768 && xrandr --output DUMMY1 --mode 1024x768 --pos 0x0 "
                    "--output DUMMY0 --pos 0x768"),
        0);
    ASSERT_TRUE(eventually([&] { return top() >= 768; }));
    pill.y += top() - before;
    click(pill);
    EXPECT_TRUE(says("change scaling [fill]"));
}

TEST_F(EmbeddedTrayTest, EscapeTheCrossAndAClickOutsideCloseThePanel) {
    startProbe({});
    openPanel();
    press("Escape");
    ASSERT_TRUE(says("panel closed", 1));

    click(trayIcon());
    ASSERT_TRUE(says("all controls", 2));
    const auto places = controls();
    ASSERT_TRUE(places.contains("Close"));
    click(places.find("Close")->second);
    ASSERT_TRUE(says("panel closed", 2));

    click(trayIcon());
    ASSERT_TRUE(says("all controls", 3));
    click(kNowhere);
    ASSERT_TRUE(says("panel closed", 3));
}

TEST_F(EmbeddedTrayTest, EachPillOfThePanelReportsItsValue) {
    startProbe({});
    openPanel();
    const auto places = controls();
    for (const PanelRow& row : samplePanel("usb", false).rows) {
        for (const PanelPill& pill : row.pills) {
            ASSERT_EQ(places.count(pill.label), 1U) << pill.label;
            click(places.find(pill.label)->second);
            EXPECT_TRUE(says("change " + row.id + " [" + pill.value + "]"));
        }
    }
    EXPECT_EQ(count("panel closed"), 0) << probe().output();
}

TEST_F(EmbeddedTrayTest, EachSwitchAndButtonOfThePanelReportsItself) {
    startProbe({"--state", "failed"});
    openPanel();
    const PanelContent content = samplePanel("failed", false);
    std::vector<std::pair<std::string, std::string>> expected;  // label, id
    for (const PanelSwitch& each : content.switches) expected.emplace_back(each.label, each.id);
    for (const PanelPermission& each : content.permissions) {
        if (!each.granted) expected.emplace_back(each.button.label, each.button.id);
    }
    expected.emplace_back(content.rows[1].button->label, content.rows[1].button->id);
    const auto places = controls();
    for (const auto& [label, id] : expected) {
        ASSERT_EQ(places.count(label), 1U) << label;
        click(places.find(label)->second);
        EXPECT_TRUE(says("change " + id + " []"));
    }
    click(places.find("Quit")->second);
    EXPECT_TRUE(says("change quit"));
    EXPECT_TRUE(says("terminating"));
    EXPECT_EQ(probe().waitForEnd(), 0);
}

TEST_F(EmbeddedTrayTest, AControlKeepsItsStateUntilTheContentSaysOtherwise) {
    startProbe({});
    openPanel();
    const Place stream = controls().find("Stop")->second;
    click(stream);
    EXPECT_TRUE(says("state stopped"));
    click(stream);
    EXPECT_TRUE(says("state usb"));
}

TEST_F(EmbeddedTrayTest, KeyboardReachesEveryControl) {
    startProbe({});
    openPanel();
    const auto places = controls();
    const PanelContent content = samplePanel("usb", false);
    const size_t others = 2 + content.switches.size() + content.buttons.size() + content.footer.size() + 1;
    size_t pills = 0;
    for (const PanelRow& row : content.rows) pills += row.pills.size();
    EXPECT_EQ(places.size(), others + pills);

    for (size_t i = 0; i < places.size(); ++i) {
        const int before = count("focus ");
        press("Tab");
        ASSERT_TRUE(says("focus ", before + 1));
    }
    for (const auto& [name, place] : places) EXPECT_GE(count("focus " + name), 1) << name;
}

TEST_F(EmbeddedTrayTest, SpaceAndReturnPressWhatHasTheFocus) {
    startProbe({});
    openPanel();
    for (int i = 0; count("focus Mirror") == 0; ++i) {
        ASSERT_LT(i, 10);
        const int before = count("focus ");
        press("Tab");
        ASSERT_TRUE(says("focus ", before + 1));
    }
    press("space");
    EXPECT_TRUE(says("change mode [mirror]"));
    press("Return");
    EXPECT_TRUE(says("change mode [mirror]", 2));
}

TEST_F(EmbeddedTrayTest, MenuOpensAtAClickAndReportsWhatIsChosen) {
    startProbe({"--menu"});
    ASSERT_TRUE(says("launched"));
    ASSERT_TRUE(clickIconUntil("menu opens"));
    press("ctrl+2");
    EXPECT_TRUE(says("chosen mirror [-] Mirror Main Display"));
    EXPECT_TRUE(says("menu closed"));

    click(trayIcon());
    ASSERT_TRUE(says("menu opens", 2));
    press("Escape");
    EXPECT_TRUE(says("menu closed", 2));

    // The right button opens it too; then down to the first item that can be chosen.
    click(trayIcon(), 3);
    ASSERT_TRUE(says("menu opens", 3));
    press("Down");
    press("Return");
    EXPECT_TRUE(says("chosen extend [-] Extend Display"));
    EXPECT_TRUE(says("menu closed", 3));

    // Into the submenu.
    click(trayIcon());
    ASSERT_TRUE(says("menu opens", 4));
    press("Down Down Down Right Down Return");
    EXPECT_TRUE(says("chosen device [tablet-1|] Studio tablet"));
}

TEST_F(EmbeddedTrayTest, AnItemMayBeReplacedByItsOwnAction) {
    startProbe({"--menu"});
    ASSERT_TRUE(says("launched"));
    ASSERT_TRUE(clickIconUntil("menu opens"));
    press("Down Down Down Right Up Return");
    ASSERT_TRUE(says("chosen rescan"));
    ASSERT_TRUE(says("item replaced"));
    ASSERT_TRUE(clickIconUntil("menu opens", 2));
    press("ctrl+q");
    EXPECT_TRUE(says("terminating"));
    EXPECT_EQ(probe().waitForEnd(), 0);
}

}  // namespace
}  // namespace quillon::testing
