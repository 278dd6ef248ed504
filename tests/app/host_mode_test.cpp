#include "app/host_mode.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/simulated/platform.hpp"

namespace quillon {
namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class HostModeTest : public testing::Test {
  protected:
    /// What host mode prints until it returns.
    std::string run(std::vector<std::string> words) {
        words.insert(words.begin(), "QuillonHost");
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const Instant start = platform_.loop.now();
        runHost(platform_, Options::parse(words));
        duration_ = platform_.loop.now() - start;
        testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }

    simulated::SimulatedPlatform platform_;
    Duration duration_{};
};

TEST_F(HostModeTest, ARunEndsTwoSecondsAfterItsLimit) {
    platform_.addNetworkDevice("10.0.0.2:7000");
    platform_.screenCapture.animate(30);
    const std::string output = run({"--tcp", "10.0.0.2:7000", "--seconds", "10"});
    EXPECT_EQ(duration_, 12s);
    EXPECT_THAT(output, StartsWith("[session] Starting…\n"));
    EXPECT_THAT(output, ContainsRegex(
                            "\n\\[host\\] [0-9.]+ fps   [0-9.]+ Mbps   latency p50 [0-9.]+ ms   drops 0\n"));
    EXPECT_THAT(output, HasSubstr("[session] Stopped\n"));
    EXPECT_THAT(output, EndsWith("[host] finished\n"));
}

TEST_F(HostModeTest, AFailedStartIsNotTheEnd) {
    const std::string output = run({"--physical", "--seconds", "60"});
    EXPECT_EQ(duration_, 62s);
    EXPECT_THAT(output, HasSubstr("[session] Failed: iPad not reachable\n"));
    EXPECT_THAT(output, EndsWith("[host] finished\n"));
}

TEST_F(HostModeTest, WithoutALimitOnlyASignalEndsTheRun) {
    for (const char* limit : {"0", "-5", "no number"}) {
        platform_.machine.after(10min, [this] { platform_.loop.stop(); });
        EXPECT_THAT(run({"--pattern", "--seconds", limit}), Not(HasSubstr("finished")));
        EXPECT_GE(duration_, 10min);
    }
}

TEST_F(HostModeTest, AnAbsurdLimitIsNoLimit) {
    platform_.machine.after(10min, [this] { platform_.loop.stop(); });
    EXPECT_THAT(run({"--seconds", "9223372036854775807"}), Not(HasSubstr("finished")));
}

}  // namespace
}  // namespace quillon
