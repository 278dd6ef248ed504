#include "tests/shell/application_desk.hpp"
#include "tests/shell/bus_object.hpp"
#include "tests/shell/screen_saver.hpp"
#include "tests/shell/toolkit.hpp"
#include "tests/support/display_guardians.hpp"

// The life of the application as people have it: first launch, second start, the ends that it may find.

namespace quillon::testing {
namespace {

class WholeApplicationTest : public ApplicationDesk {
  protected:
    /// With all that an end has to take back.
    void startStreaming() {
        startDevice();
        storeSettings("popoverUI=false\nautoStart=true\npreventSleep=true\n");
        startApplication();
        EXPECT_TRUE(logs("state: iPad display"));
    }
    /// No display of ours, and nobody who waits to take one away.
    void expectNothingLeft() {
        EXPECT_TRUE(hasMonitors(1));
        EXPECT_TRUE(eventually([&] { return displayGuardians(display()).empty(); }));
    }
};

TEST_F(WholeApplicationTest, EachChoiceOfTheMenuReachesTheStoreWithoutADevice) {
    storeSettings("popoverUI=false\nautoStart=false\n");
    startApplication();
    ASSERT_TRUE(registers());
    choose("Mirror Main Display");
    EXPECT_TRUE(stores("mirror=true"));
    choose("Balanced — 75% raster");
    EXPECT_TRUE(stores("quality.usb=balanced"));
    choose("USB (cable)");
    EXPECT_TRUE(stores("transport=usb"));
    choose("Quit Quillon");
    EXPECT_EQ(probe().waitForEnd(), 0) << probe().output();
}

TEST_F(WholeApplicationTest, AFreshAccountStreamsAtOnceAndHasThePanel) {
    startDevice();
    ASSERT_EQ(settings(), "");
    startApplication();
    ASSERT_TRUE(registers());
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(logs("positioned right"));
    EXPECT_TRUE(logs("prefs for USB: quality Best, smooth 0"));
    EXPECT_TRUE(deviceSays("link \"USB\""));
    EXPECT_TRUE(deviceSays("| Smooth Off | Fit\""));
    EXPECT_TRUE(stores("autoStart=true"));
    EXPECT_TRUE(storesNo("popoverUI"));
    EXPECT_FALSE(std::filesystem::exists(path("config/autostart")));
    // The item's click opens the panel; where panels only open menus, its one item does.
    const auto menu = host->openMenu();
    ASSERT_EQ(menu.children.size(), 1U);
    EXPECT_EQ(menu.children[0].label().toStdString(), "Open Quillon");
    host->activate();
    EXPECT_TRUE(getsAWindow());
}

TEST_F(WholeApplicationTest, TheNextStartDoesAsTheUserChose) {
    startDevice();
    storeSettings("autoStart=false\n");
    startApplication();
    ASSERT_TRUE(registers());
    ASSERT_TRUE(logs("scan: Quillon on …blet-1 [usb]"));
    EXPECT_FALSE(probe().printed("state: ", std::chrono::milliseconds(0))) << probe().output();
    EXPECT_TRUE(stores("autoStart=false"));
}

TEST_F(WholeApplicationTest, ASecondStartBringsThePanelUp) {
    storeSettings("popoverUI=false\nautoStart=false\n");
    startApplication();
    ASSERT_TRUE(registers());
    ASSERT_TRUE(losesItsWindows());
    ChildProcess second(applicationCommand(), environment);
    EXPECT_EQ(second.waitForEnd(), 0) << second.output();
    EXPECT_EQ(second.output(), "Quillon runs already\n");
    EXPECT_TRUE(getsAWindow());
    EXPECT_TRUE(probe().isRunning());
}

TEST_F(WholeApplicationTest, AKilledOneLeavesNothingAndTheNextOneStreamsAgain) {
    ScreenSaver saver(busAddress());
    startStreaming();
    ASSERT_TRUE(hasMonitors(2));
    EXPECT_EQ(displayGuardians(display()).size(), 1U);
    choose("Left");
    ASSERT_TRUE(stores("position=left"));
    probe().signal(SIGKILL);
    ASSERT_TRUE(probe().waitForEnd());
    EXPECT_TRUE(deviceSays("left after"));
    expectNothingLeft();
    EXPECT_TRUE(eventually([&] { return saver.held() == 0; }));
    EXPECT_TRUE(stores("position=left"));

    startApplication();
    ASSERT_TRUE(registers(2));
    ASSERT_TRUE(logs("state: iPad display"));
    EXPECT_TRUE(deviceSays("picture "));
    EXPECT_TRUE(isChecked("Left"));
}

TEST_F(WholeApplicationTest, ASignalWhileItStreamsTakesEverythingBack) {
    ScreenSaver saver(busAddress());
    startStreaming();
    ASSERT_TRUE(hasMonitors(2));
    EXPECT_TRUE(eventually([&] { return saver.held() == 1; }));
    EXPECT_EQ(saver.reason(), "Quillon streaming");
    probe().signal(SIGTERM);
    EXPECT_EQ(probe().waitForEnd(), 0) << probe().output();
    EXPECT_TRUE(deviceSays("left after"));
    EXPECT_TRUE(eventually([&] { return saver.held() == 0; }));
    expectNothingLeft();
    EXPECT_TRUE(stores("preventSleep=true"));
}

}  // namespace
}  // namespace quillon::testing
