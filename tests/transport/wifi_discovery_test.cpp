#include "transport/wifi_discovery.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "platform/simulated/run_loop.hpp"
#include "platform/simulated/service_browser.hpp"
#include "tests/transport/doubles.hpp"

namespace quillon {
namespace {

using Endpoint = WiFiDiscovery::Endpoint;

class WiFiDiscoveryTest : public ::testing::Test {
  protected:
    ServiceBrowser::Service& announce(const std::string& name, std::vector<std::string> hosts,
                                      Duration resolvedAfter = 20ms) {
        ServiceBrowser::Service service{name, 5555, {}, {}};
        for (auto& host : hosts) service.addresses.push_back({AF_INET, std::move(host)});
        browser.services.push_back({std::move(service), 10ms, resolvedAfter});
        return browser.services.back().service;
    }
    double elapsed() const { return toSeconds(machine.now() - begin); }

    simulated::Machine machine;
    simulated::SimulatedRunLoop loop{machine};
    simulated::SimulatedServiceBrowser browser{machine};
    WiFiDiscovery discovery{loop, browser};
    const Instant begin = machine.now();
};

TEST_F(WiFiDiscoveryTest, NothingThereTakesTheWholeTime) {
    EXPECT_EQ(discovery.discover(3s), std::nullopt);
    EXPECT_NEAR(elapsed(), 3, 0.11);
    EXPECT_TRUE(discovery.discoverAll(4s).empty());
    EXPECT_NEAR(elapsed(), 7, 0.21);
}

TEST_F(WiFiDiscoveryTest, TheFirstThatResolvesIsReturnedSoon) {
    announce("slow", {"192.168.1.30"}, 500ms);
    announce("fast", {"192.168.1.31"}, 200ms);
    EXPECT_EQ(discovery.discover(3s), (Endpoint{"192.168.1.31", 5555, "fast", std::nullopt}));
    EXPECT_LE(elapsed(), 0.21 + 0.1);
}

TEST_F(WiFiDiscoveryTest, AllAreReturnedInTheOrderOfResolution) {
    announce("slow", {"192.168.1.30"}, 500ms);
    announce("fast", {"192.168.1.31"}, 200ms);
    EXPECT_EQ(discovery.discoverAll(4s),
              (std::vector<Endpoint>{{"192.168.1.31", 5555, "fast", std::nullopt},
                                     {"192.168.1.30", 5555, "slow", std::nullopt}}));
    EXPECT_NEAR(elapsed(), 4, 0.11);
}

TEST_F(WiFiDiscoveryTest, AnAddressInAnOwnNetworkIsPreferred) {
    announce("tablet", {"169.254.3.4", "10.9.9.9", "192.168.1.30"});
    browser.interfaces = {"127.0.0.1", "169.254.7.7", "192.168.1.20"};
    EXPECT_EQ(discovery.discover(3s)->host, "192.168.1.30");
}

TEST_F(WiFiDiscoveryTest, APrefixIsWholeNumbers) {
    announce("tablet", {"192.168.10.30", "192.168.1.30"});
    browser.interfaces = {"192.168.1.20"};
    EXPECT_EQ(discovery.discover(3s)->host, "192.168.1.30");
}

TEST_F(WiFiDiscoveryTest, OtherwiseTheFirstThatIsNotLinkLocal) {
    announce("tablet", {"169.254.3.4", "192.168.1.30", "192.168.2.30"});
    browser.interfaces = {"10.0.0.5"};
    EXPECT_EQ(discovery.discover(3s)->host, "192.168.1.30");
}

TEST_F(WiFiDiscoveryTest, OtherwiseTheFirstLinkLocalOne) {
    announce("tablet", {"169.254.3.4", "169.254.3.5"});
    browser.interfaces = {"169.254.3.1", "192.168.1.20"};
    EXPECT_EQ(discovery.discover(3s)->host, "169.254.3.4");
}

TEST_F(WiFiDiscoveryTest, ServicesWithoutAnUsableAddressOrPortAreLeftOut) {
    announce("none", {});
    announce("six", {}).addresses.push_back({AF_INET6, "fe80::1"});
    announce("zero", {"192.168.1.30"}).port = 0;
    announce("negative", {"192.168.1.30"}).port = -1;
    announce("huge", {"192.168.1.30"}).port = 65536;
    EXPECT_TRUE(discovery.discoverAll(5s).empty());
}

TEST_F(WiFiDiscoveryTest, TheModelComesFromTheRecord) {
    announce("with", {"192.168.1.30"}).txt["model"] = test::bytesOf("Tablet13,8");
    announce("empty", {"192.168.1.31"}).txt["model"] = {};
    announce("invalid", {"192.168.1.32"}).txt["model"] = {0xFF, 'a'};
    announce("other", {"192.168.1.33"}).txt["name"] = test::bytesOf("x");
    const auto found = discovery.discoverAll(5s);
    ASSERT_EQ(found.size(), 4u);
    EXPECT_EQ(found[0].model, "Tablet13,8");
    for (size_t i = 1; i < 4; ++i) EXPECT_EQ(found[i].model, std::nullopt);
}

TEST_F(WiFiDiscoveryTest, OneNameOnOneAddressIsListedOnce) {
    announce("tablet", {"192.168.1.30"});
    announce("tablet", {"192.168.1.30"});
    announce("tablet", {"192.168.1.31"});
    const auto found = discovery.discoverAll(5s);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].host, "192.168.1.30");
    EXPECT_EQ(found[1].host, "192.168.1.31");
}

TEST_F(WiFiDiscoveryTest, TellsTheLogWhatItSees) {
    announce("tablet", {"192.168.1.30"}).addresses.push_back({AF_INET6, "fe80::1"});
    announce("stuck", {"192.168.1.31"}, 60s);
    ::testing::internal::CaptureStderr();
    discovery.discoverAll(5s);
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(log,
              "[Quillon] discover: didFind tablet\n"
              "[Quillon] discover: will resolve tablet\n"
              "[Quillon] discover: didFind stuck\n"
              "[Quillon] discover: will resolve stuck\n"
              "[Quillon] discover: resolved tablet port=5555 addrs=2\n"
              "[Quillon]    addr family=2 192.168.1.30\n"
              "[Quillon]    addr family=10 fe80::1\n"
              "[Quillon] discovered tablet at 192.168.1.30:5555\n"
              "[Quillon] discover: didNotResolve stuck: timed out\n");
}

TEST_F(WiFiDiscoveryTest, ASearchThatIsNotPossibleIsLogged) {
    browser.failure = "Daemon not running";
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(discovery.discover(3s), std::nullopt);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "[Quillon] discover: didNotSearch Daemon not running\n");
    EXPECT_NEAR(elapsed(), 3, 0.11);
}

}  // namespace
}  // namespace quillon
