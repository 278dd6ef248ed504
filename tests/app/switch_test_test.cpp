#include "app/switch_test.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/host_mode.hpp"
#include "platform/simulated/platform.hpp"

namespace quillon {
namespace {

using testing::HasSubstr;
using testing::Not;

class SwitchTestTest : public testing::Test {
  protected:
    SwitchTestTest() {
        config_.transport = Transport::usb;
        device_ = platform_.attachDevice("tablet-1");
        platform_.screenCapture.animate(30);
        session_->start(config_);
    }

    /// What is printed until this moment of the run.
    std::string printedUntil(Duration moment) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        platform_.loop.runFor(start_ + moment - platform_.loop.now());
        testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }
    std::string stepAt(std::chrono::seconds moment) {
        EXPECT_THAT(printedUntil(moment - 1ms), Not(HasSubstr("[test]"))) << "before " << moment.count();
        return printedUntil(moment + 1ms);
    }

    simulated::SimulatedPlatform platform_;
    const Instant start_ = platform_.loop.now();
    std::shared_ptr<simulated::Device> device_;
    Session::Config config_;
    std::shared_ptr<Session> session_ = Session::make(platform_);
    bool done_ = false;
    SwitchTest test_{platform_.loop, *session_, config_, [this] { done_ = true; }};
};

TEST_F(SwitchTestTest, EachStepComesAtItsTime) {
    EXPECT_THAT(stepAt(8s), HasSubstr("[test] stop (Extend off)\n"));
    EXPECT_EQ(session_->state(), Session::State::idle());
    EXPECT_THAT(stepAt(12s), HasSubstr("[test] start (Extend on)\n"));
    EXPECT_THAT(stepAt(20s), HasSubstr("[test] -> mirror\n"));
    EXPECT_TRUE(session_->config().mirror);
    EXPECT_THAT(stepAt(28s), HasSubstr("[test] -> extend\n"));
    EXPECT_FALSE(session_->config().mirror);
    printedUntil(35s);
    EXPECT_TRUE(session_->state().isRunning()) << session_->state().text;
    EXPECT_THAT(stepAt(36s), HasSubstr("[test] stop again\n"));
    EXPECT_THAT(stepAt(40s), HasSubstr("[test] start again\n"));
    printedUntil(49s);
    EXPECT_TRUE(session_->state().isRunning()) << session_->state().text;
    EXPECT_FALSE(done_);
    EXPECT_THAT(stepAt(50s), HasSubstr("[test] done\n"));
    EXPECT_TRUE(done_);
    EXPECT_EQ(session_->state(), Session::State::idle());
}

TEST_F(SwitchTestTest, AStallOfTheMainThreadIsTold) {
    simulated::Machine::WaitPoint never;
    const auto stall = [&](Duration length) {
        platform_.loop.post([&, length] { platform_.machine.wait(never, platform_.loop.now() + length); });
    };
    printedUntil(2s);
    stall(1s);
    EXPECT_THAT(printedUntil(4s), Not(HasSubstr("BLOCKED"))) << "as long as this is no stall";
    stall(1600ms);
    EXPECT_THAT(printedUntil(7s), HasSubstr("[test] MAIN THREAD BLOCKED 1.4s\n"));
}

TEST(SwitchTestMode, EndsTheHost) {
    simulated::SimulatedPlatform platform;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const Instant start = platform.loop.now();
    runHost(platform, Options::parse({"QuillonHost", "--switch-test"}));
    testing::internal::GetCapturedStderr();
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(platform.loop.now() - start, 50s) << "also without any device";
    EXPECT_THAT(output, testing::EndsWith("[test] done\n"));
    EXPECT_THAT(output, Not(HasSubstr("BLOCKED")));
    EXPECT_EQ(platform.virtualScreens.living, 0);
}

}  // namespace
}  // namespace quillon
