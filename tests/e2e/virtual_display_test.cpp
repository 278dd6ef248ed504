#include <poll.h>
#include <signal.h>

#include <chrono>

#include "tests/e2e/desk_fixture.hpp"
#include "tests/support/display_guardians.hpp"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 20s;
constexpr auto kBetweenLooks = 20ms;

/// A host with a virtual display needs no device for it: the display comes first.
class VirtualDisplayProgramTest : public DeskTest {
  protected:
    void SetUp() override { startXServer(); }

    /// How many of the displays that the program lists are virtual ones.
    int virtualDisplays() const {
        const auto list = startHost({"--displays"});
        EXPECT_EQ(list->waitForEnd(), 0);
        const std::string lines = list->output();
        const std::regex own("vendor=1452  model=4096");
        return static_cast<int>(
            std::distance(std::sregex_iterator(lines.begin(), lines.end(), own), std::sregex_iterator()));
    }
    bool becomes(int count) const {
        const auto deadline = std::chrono::steady_clock::now() + kLimit;
        while (virtualDisplays() != count) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            poll(nullptr, 0, static_cast<int>(kBetweenLooks.count()));
        }
        return true;
    }
};

TEST_F(VirtualDisplayProgramTest, AKilledHostLeavesNone) {
    const auto host = startHost({});
    ASSERT_TRUE(becomes(1)) << host->output();
    host->signal(SIGKILL);
    EXPECT_TRUE(host->waitForEnd());
    EXPECT_TRUE(becomes(0));
}

TEST_F(VirtualDisplayProgramTest, AnInterruptedHostLeavesNone) {
    const auto host = startHost({});
    ASSERT_TRUE(becomes(1)) << host->output();
    host->signal(SIGINT);
    EXPECT_EQ(host->waitForEnd(), 0);
    EXPECT_TRUE(becomes(0));
}

TEST_F(VirtualDisplayProgramTest, CleanupRemovesWhatHostAndGuardianLeft) {
    const auto host = startHost({});
    ASSERT_TRUE(becomes(1)) << host->output();
    const auto guardians = displayGuardians(server->display());
    ASSERT_EQ(guardians.size(), 1u);
    killAndWait(*guardians.begin());
    host->signal(SIGKILL);
    EXPECT_TRUE(host->waitForEnd());
    ASSERT_EQ(virtualDisplays(), 1);
    const auto cleanup = startHost({"--cleanup"});
    EXPECT_EQ(cleanup->waitForEnd(), 0);
    EXPECT_TRUE(cleanup->printed("[cleanup] remaining: []")) << cleanup->output();
    EXPECT_EQ(virtualDisplays(), 0);
}

TEST_F(VirtualDisplayProgramTest, TwoHostsHaveOneEach) {
    const auto first = startHost({});
    ASSERT_TRUE(becomes(1)) << first->output();
    const auto second = startHost({});
    ASSERT_TRUE(becomes(2)) << second->output();
    const auto cleanup = startHost({"--cleanup"});
    EXPECT_EQ(cleanup->waitForEnd(), 0);
    EXPECT_EQ(virtualDisplays(), 2) << "both are somebody's";
    first->signal(SIGKILL);
    EXPECT_TRUE(becomes(1));
    second->signal(SIGKILL);
    EXPECT_TRUE(becomes(0));
}

}  // namespace
}  // namespace quillon::testing
