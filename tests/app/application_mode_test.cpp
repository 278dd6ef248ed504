#include "app/application_mode.hpp"

#include "tests/app/application_fixture.hpp"

namespace quillon {
namespace {

class ApplicationModeTest : public testing::Test {
  protected:
    int run() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = runApplication(machine_, {"1.2.3", {"QuillonHost"}});
        errors_ = testing::internal::GetCapturedStderr();
        output_ = testing::internal::GetCapturedStdout();
        return status;
    }

    simulated::SimulatedPlatform machine_;
    std::string errors_;
    std::string output_;
};

TEST_F(ApplicationModeTest, RunsUntilItIsQuit) {
    machine_.machine.after(5s, [this] { machine_.shell.clickItem(); });
    machine_.machine.after(6s, [this] { EXPECT_TRUE(machine_.shell.clickPanel("quit")); });
    EXPECT_EQ(run(), EXIT_SUCCESS);
    EXPECT_EQ(machine_.shell.itemsMade, 1);
    EXPECT_EQ(machine_.shell.item, nullptr);
    EXPECT_EQ(machine_.shell.panel, std::nullopt);
    EXPECT_EQ(machine_.virtualScreens.living, 0);
}

TEST_F(ApplicationModeTest, TheEndDoesNotWaitForAScan) {
    const Instant start = machine_.loop.now();
    machine_.machine.after(1s, [this] { machine_.loop.stop(); });
    EXPECT_EQ(run(), EXIT_SUCCESS);
    EXPECT_LT(machine_.loop.now() - start, 2s) << "the first scan takes four";
}

TEST_F(ApplicationModeTest, WithoutAToolkitItSaysWhy) {
    machine_.shell.failure = "no display to draw on";
    EXPECT_EQ(run(), EXIT_FAILURE);
    EXPECT_EQ(errors_, "QuillonHost: the tray application cannot start: no display to draw on\n");
    EXPECT_EQ(machine_.network.opened(), 0) << "no session was started";
}

TEST_F(ApplicationModeTest, ASecondStartLeavesItToTheFirst) {
    machine_.shell.runsAlready = true;
    EXPECT_EQ(run(), EXIT_SUCCESS);
    EXPECT_EQ(output_, "Quillon runs already\n");
    EXPECT_EQ(machine_.shell.itemsMade, 0);
}

}  // namespace
}  // namespace quillon
