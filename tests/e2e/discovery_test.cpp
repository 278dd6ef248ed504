#include <gmock/gmock.h>
#include <signal.h>

#include "tests/e2e/desk_fixture.hpp"
#include "tests/support/avahi_daemon.hpp"

// A device that announces itself, and a host that looks for it, through a real Avahi daemon.

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::AnyOf;

class DiscoveryTest : public DeskTest {
  protected:
    void SetUp() override {
        if (const std::string missing = AvahiDaemon::missing(); !missing.empty()) GTEST_SKIP() << missing;
        avahi = std::make_unique<AvahiDaemon>();
    }
    void startDaemon() { ASSERT_TRUE(avahi->start()) << avahi->output(); }

    struct Announced {
        std::unique_ptr<ChildProcess> process;
        std::string port;
    };
    Announced startDevice(const std::vector<std::string>& more) const {
        std::vector<std::string> command{QUILLON_DEVICE, "--headless", "--bind", "127.0.0.1", "--port", "0"};
        command.insert(command.end(), more.begin(), more.end());
        Announced device{std::make_unique<ChildProcess>(command), {}};
        EXPECT_TRUE(device.process->printed("listening on 127.0.0.1:")) << device.process->output();
        std::smatch port;
        const std::string said = device.process->output();
        if (std::regex_search(said, port, std::regex("127\\.0\\.0\\.1:(\\d+)"))) device.port = port[1];
        return device;
    }
    /// The line that the host prints for `option`.
    std::string discovered(const std::string& option) const {
        ChildProcess host({"sh", "-c", R"(exec "$@" 2>/dev/null)", "sh", QUILLON_HOST, option});
        EXPECT_EQ(host.waitForEnd(), 0);
        return host.output();
    }

    std::unique_ptr<AvahiDaemon> avahi;
};

TEST_F(DiscoveryTest, AnAnnouncedDeviceIsFoundByNameAndModel) {
    startDaemon();
    const auto device = startDevice({"--announce", "Anna's tablet", "--model", "Tablet13,8"});
    ASSERT_TRUE(device.process->printed("[device] announced on the network as \"Anna's tablet\", port " +
                                        device.port));
    EXPECT_EQ(discovered("--discover"),
              "[discover] browsing for _paravane._tcp. for 5s\n"
              "[discover] FOUND Anna's tablet at 127.0.0.1:" +
                  device.port + "\n");
    EXPECT_EQ(discovered("--discover-all"),
              "[discover-all] 1: 127.0.0.1 " + device.port + " Anna's tablet Tablet13,8\n");
}

TEST_F(DiscoveryTest, ANameThatIsTakenGetsANumber) {
    startDaemon();
    const auto first = startDevice({"--announce", "Tablet"});
    ASSERT_TRUE(first.process->printed("announced on the network as \"Tablet\", port " + first.port));
    const auto second = startDevice({"--announce", "Tablet"});
    ASSERT_TRUE(second.process->printed("announced on the network as \"Tablet #2\", port " + second.port))
        << second.process->output();
    const std::string one = "127.0.0.1 " + first.port + " Tablet";
    const std::string two = "127.0.0.1 " + second.port + " Tablet #2";
    EXPECT_THAT(discovered("--discover-all"), AnyOf("[discover-all] 2: " + one + ", " + two + "\n",
                                                    "[discover-all] 2: " + two + ", " + one + "\n"));
}

// A withdrawn service is remembered for a second yet.
TEST_F(DiscoveryTest, ADeviceThatEndsIsWithdrawn) {
    startDaemon();
    for (const int number : {SIGTERM, SIGINT, SIGKILL}) {
        SCOPED_TRACE(number);
        const auto device = startDevice({"--announce", "Tablet"});
        ASSERT_TRUE(device.process->printed("announced on the network")) << device.process->output();
        device.process->signal(number);
        EXPECT_EQ(device.process->waitForEnd(), number == SIGKILL ? 128 + SIGKILL : 0);
        std::string last;
        for (int i = 0; i < 5 && last != "[discover-all] 0: \n"; ++i) last = discovered("--discover-all");
        EXPECT_EQ(last, "[discover-all] 0: \n");
    }
}

TEST_F(DiscoveryTest, WithoutADaemonTheDeviceSaysSoAndAnnouncesWhenOneComes) {
    const auto device = startDevice({"--announce", "Tablet"});
    ASSERT_TRUE(device.process->printed("[device] not announced on the network: Daemon not running"));
    startDaemon();
    ASSERT_TRUE(device.process->printed("announced on the network as \"Tablet\""));
    avahi->killDaemon();
    ASSERT_TRUE(device.process->printedTimes("not announced on the network: ", 2, 10s));
    ASSERT_TRUE(avahi->startDaemon());
    ASSERT_TRUE(device.process->printedTimes("] announced on the network as \"Tablet\"", 2, 20s));
    device.process->signal(SIGTERM);
    EXPECT_EQ(device.process->waitForEnd(), 0);
}

}  // namespace
}  // namespace quillon::testing
