#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "base/log.hpp"
#include "platform/linux/avahi_service_browser.hpp"
#include "platform/linux/run_loop.hpp"
#include "tests/support/avahi_daemon.hpp"
#include "transport/wifi_discovery.hpp"

namespace quillon {
namespace {

using testing::AnnouncedServices;
using testing::AvahiDaemon;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::ServiceDescription;
using ::testing::SizeIs;
using Endpoint = WiFiDiscovery::Endpoint;

/// Avahi's services, on a machine whose interfaces the test chooses.
class ServicesSeenFrom : public AvahiServices {
  public:
    std::vector<std::string> interfaceAddresses() override { return interfaces; }
    std::vector<std::string> interfaces{"192.168.1.20"};
};

class AvahiDiscoveryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const std::string missing = AvahiDaemon::missing(); !missing.empty()) GTEST_SKIP() << missing;
        // A log of its own, in which the test reads how far its search is.
        std::string pattern = ::testing::TempDir() + "quillon-home-XXXXXX";
        home = mkdtemp(pattern.data());
        setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override {
        if (!home.empty()) std::filesystem::remove_all(home);
    }
    void start() { ASSERT_TRUE(daemon.start()) << daemon.output(); }

    void announce(const std::vector<ServiceDescription>& services) {
        announced.push_back(AnnouncedServices::announce(services));
        ASSERT_TRUE(announced.back()) << daemon.output();
    }
    /// A service on a host of its own.
    ServiceDescription at(const std::string& name, std::vector<std::string> addresses,
                          std::vector<std::string> txt = {}) {
        return {name, 5555, "host-" + std::to_string(++hosts) + ".local", std::move(addresses),
                std::move(txt)};
    }

    /// Runs `search`; its log goes into `log`.
    template <typename Search>
    auto logging(const Search& search) {
        ::testing::internal::CaptureStderr();
        auto result = search();
        log = ::testing::internal::GetCapturedStderr();
        return result;
    }
    /// Waits until a search in another thread has logged this.
    static ::testing::AssertionResult becomesLogged(const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        std::string content;
        while (std::chrono::steady_clock::now() < deadline) {
            std::ifstream file(Log::url());
            content.assign(std::istreambuf_iterator<char>(file), {});
            if (content.find(text) != std::string::npos) return ::testing::AssertionSuccess();
            std::this_thread::sleep_for(10ms);
        }
        return ::testing::AssertionFailure() << "no \"" << text << "\" in:\n" << content;
    }
    /// A service that every search reports and none yields.
    static ServiceDescription portless() { return {"portless", 0, "portless.local", {"192.168.1.29"}, {}}; }
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }
    /// A busy machine may take longer, a search that ends early is wrong.
    ::testing::AssertionResult tookAbout(double wanted) const {
        const double took = seconds();
        if (took >= wanted - 0.01 && took < wanted + 1.5) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << took << " s";
    }
    void startTheClock() { begin = std::chrono::steady_clock::now(); }
    int logged(const std::string& text) const {
        int count = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
        return count;
    }

    std::filesystem::path home;
    AvahiDaemon daemon;
    std::vector<std::unique_ptr<AnnouncedServices>> announced;
    int hosts = 0;
    LinuxRunLoop loop;
    ServicesSeenFrom machine;
    WiFiDiscovery discovery{loop, machine};
    std::string log;
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

TEST_F(AvahiDiscoveryTest, FindsAServiceSoon) {
    start();
    announce({at("Anna's tablet", {"192.168.1.30"}, {"model=Tablet13,8"})});
    startTheClock();
    const auto found = logging([&] { return discovery.discover(5s); });
    EXPECT_EQ(found, (Endpoint{"192.168.1.30", 5555, "Anna's tablet", "Tablet13,8"}));
    EXPECT_LT(seconds(), 4);
    EXPECT_EQ(log,
              "[Quillon] discover: didFind Anna's tablet\n"
              "[Quillon] discover: will resolve Anna's tablet\n"
              "[Quillon] discover: resolved Anna's tablet port=5555 addrs=1\n"
              "[Quillon]    addr family=2 192.168.1.30\n"
              "[Quillon] discovered Anna's tablet at 192.168.1.30:5555\n");
}

TEST_F(AvahiDiscoveryTest, AllServicesAreFoundAndTheWholeTimeIsTaken) {
    start();
    announce({at("one", {"192.168.1.30"}), at("two", {"192.168.1.31"})});
    startTheClock();
    auto found = logging([&] { return discovery.discoverAll(2s); });
    EXPECT_TRUE(tookAbout(2));
    std::ranges::sort(found, {}, &Endpoint::name);
    EXPECT_THAT(found, ElementsAre(Endpoint{"192.168.1.30", 5555, "one", std::nullopt},
                                   Endpoint{"192.168.1.31", 5555, "two", std::nullopt}));
}

TEST_F(AvahiDiscoveryTest, AllAddressesAreKnownAndTheBestIsChosen) {
    start();
    announce({at("tablet", {"169.254.3.4", "10.9.9.9", "192.168.1.30"})});
    EXPECT_EQ(logging([&] { return discovery.discover(5s); })->host, "192.168.1.30");
    EXPECT_THAT(log, HasSubstr("port=5555 addrs=3\n"));
}

TEST_F(AvahiDiscoveryTest, AddressesOfBothFamiliesAreTold) {
    start();
    announce({at("tablet", {"fd00::30", "192.168.1.30"}), at("new", {"fd00::31"})});
    const auto found = logging([&] { return discovery.discoverAll(6s); });
    EXPECT_THAT(found, ElementsAre(Endpoint{"192.168.1.30", 5555, "tablet", std::nullopt}));
    EXPECT_THAT(log, HasSubstr("discover: resolved tablet port=5555 addrs=2\n"));
    EXPECT_THAT(log, HasSubstr("[Quillon]    addr family=2 192.168.1.30\n"));
    EXPECT_THAT(log, HasSubstr("[Quillon]    addr family=10 fd00::30\n"));
    EXPECT_THAT(
        log, HasSubstr("discover: resolved new port=5555 addrs=1\n[Quillon]    addr family=10 fd00::31\n"));
}

TEST_F(AvahiDiscoveryTest, AHostWhoseAddressComesLateIsFound) {
    start();
    announce({{"tablet", 5555, "late.local", {}, {}}});
    std::thread later([this] {
        ASSERT_TRUE(becomesLogged("will resolve tablet"));
        ASSERT_TRUE(AnnouncedServices::hasNoAddress("late.local")) << "the daemon tells that it knows none";
        announce({{"other", 5556, "late.local", {"192.168.1.30"}, {}}});
    });
    const auto found = logging([&] { return discovery.discoverAll(6s); });
    later.join();
    EXPECT_THAT(found, ::testing::Contains(Endpoint{"192.168.1.30", 5555, "tablet", std::nullopt}));
}

TEST_F(AvahiDiscoveryTest, WithoutANetworkInCommonAnAddressThatIsNotLinkLocalIsChosen) {
    start();
    machine.interfaces = {"10.0.0.5"};
    announce({at("tablet", {"169.254.3.4", "192.168.1.30"})});
    EXPECT_EQ(logging([&] { return discovery.discover(5s); })->host, "192.168.1.30");
}

TEST_F(AvahiDiscoveryTest, ALinkLocalAddressIsBetterThanNone) {
    start();
    announce({at("tablet", {"169.254.3.4"})});
    EXPECT_EQ(logging([&] { return discovery.discover(5s); })->host, "169.254.3.4");
}

TEST_F(AvahiDiscoveryTest, AServiceWithoutAnAddressOrAPortIsLeftOut) {
    start();
    announce({{"nowhere", 5555, "nowhere.local", {}, {}}, portless()});
    EXPECT_THAT(logging([&] { return discovery.discoverAll(6s); }), IsEmpty());
    EXPECT_THAT(log, HasSubstr("discover: resolved portless port=0 addrs=1\n"));
    EXPECT_THAT(log, HasSubstr("discover: resolved nowhere port=5555 addrs=0\n"));
}

TEST_F(AvahiDiscoveryTest, AnEmptyOrBrokenModelIsNone) {
    start();
    announce({at("empty", {"192.168.1.30"}, {"model="}), at("bare", {"192.168.1.31"}, {"model"}),
              at("broken", {"192.168.1.32"}, {"model=\xFF\xFE"}),
              at("upper", {"192.168.1.33"}, {"MODEL=Tablet", "model=second"}),
              at("odd", {"192.168.1.34"}, {std::string("\0\n=", 3), "=x", "model=T\xC3\xA4"})});
    auto found = logging([&] { return discovery.discoverAll(3s); });
    std::ranges::sort(found, {}, &Endpoint::host);
    ASSERT_THAT(found, SizeIs(5));
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(found[i].model, std::nullopt) << found[i].name;
    EXPECT_EQ(found[3].model, "Tablet");
    EXPECT_EQ(found[4].model, "T\xC3\xA4");
}

TEST_F(AvahiDiscoveryTest, NamesMayHoldAnything) {
    start();
    const std::vector<std::string> names{"a.b\\c d",           "Größe 日本 🎈",        "two\nlines\x1b[2J",
                                         std::string(63, 'x'), "\x01\x02 \"quoted\"", "-"};
    std::vector<ServiceDescription> services;
    for (const std::string& name : names) services.push_back(at(name, {"192.168.1.30"}));
    announce(services);
    const auto found = logging([&] { return discovery.discoverAll(3s); });
    std::set<std::string> seen;
    for (const Endpoint& each : found) seen.insert(each.name);
    EXPECT_EQ(seen, std::set<std::string>(names.begin(), names.end()));
    EXPECT_THAT(log, HasSubstr("discover: didFind two\\x0alines\\x1b[2J\n"));
    EXPECT_EQ(log.find("\nlines"), std::string::npos);
}

TEST_F(AvahiDiscoveryTest, AServiceThatComesDuringTheSearchIsFound) {
    start();
    announce({portless()});
    std::thread later([this] {
        ASSERT_TRUE(becomesLogged("didFind portless")) << "the search has begun";
        announce({at("late", {"192.168.1.30"})});
    });
    const auto found = logging([&] { return discovery.discover(10s); });
    later.join();
    EXPECT_EQ(found, (Endpoint{"192.168.1.30", 5555, "late", std::nullopt}));
}

TEST_F(AvahiDiscoveryTest, WithoutABusItSaysSoAndTakesItsTime) {
    startTheClock();
    EXPECT_EQ(logging([&] { return discovery.discover(2s); }), std::nullopt);
    EXPECT_TRUE(tookAbout(2));
    EXPECT_EQ(log, "[Quillon] discover: didNotSearch Daemon not running\n");
}

TEST_F(AvahiDiscoveryTest, WithoutADaemonItSaysSoAndTakesItsTime) {
    ASSERT_TRUE(daemon.startBus());
    startTheClock();
    EXPECT_THAT(logging([&] { return discovery.discoverAll(2s); }), IsEmpty());
    EXPECT_TRUE(tookAbout(2));
    EXPECT_EQ(log, "[Quillon] discover: didNotSearch Daemon not running\n");
}

TEST_F(AvahiDiscoveryTest, ADaemonThatComesDuringTheSearchIsUsed) {
    ASSERT_TRUE(daemon.startBus());
    std::thread later([this] {
        ASSERT_TRUE(becomesLogged("didNotSearch")) << "the search finds no daemon";
        ASSERT_TRUE(daemon.startDaemon()) << daemon.output();
        announce({at("tablet", {"192.168.1.30"})});
    });
    const auto found = logging([&] { return discovery.discover(20s); });
    later.join();
    EXPECT_EQ(found, (Endpoint{"192.168.1.30", 5555, "tablet", std::nullopt}));
    EXPECT_EQ(logged("didNotSearch"), 1);
}

TEST_F(AvahiDiscoveryTest, ADaemonThatDiesIsReportedAndItsSuccessorUsed) {
    start();
    announce({at("before", {"192.168.1.30"})});
    std::thread meanwhile([this] {
        ASSERT_TRUE(becomesLogged("discovered before at"));
        daemon.killDaemon();
        announced.clear();
        ASSERT_TRUE(daemon.startDaemon()) << daemon.output();
        announce({at("after", {"192.168.1.31"})});
    });
    const auto found = logging([&] { return discovery.discoverAll(8s); });
    meanwhile.join();
    EXPECT_THAT(found, ElementsAre(Endpoint{"192.168.1.30", 5555, "before", std::nullopt},
                                   Endpoint{"192.168.1.31", 5555, "after", std::nullopt}));
    EXPECT_EQ(logged("discover: didNotSearch Daemon connection failed"), 1);
}

TEST_F(AvahiDiscoveryTest, ABusThatDiesLeavesTheSearchToItsTime) {
    start();
    announce({portless()});
    std::thread meanwhile([this] {
        ASSERT_TRUE(becomesLogged("didFind portless")) << "the search has begun";
        daemon.killBus();
    });
    startTheClock();
    EXPECT_THAT(logging([&] { return discovery.discoverAll(3s); }), IsEmpty());
    EXPECT_TRUE(tookAbout(3));
    meanwhile.join();
    EXPECT_EQ(logged("didNotSearch"), 1);
}

TEST_F(AvahiDiscoveryTest, ADaemonThatHangsHoldsUpNobody) {
    start();
    daemon.freezeDaemon();
    startTheClock();
    EXPECT_EQ(logging([&] { return discovery.discover(1s); }), std::nullopt);
    EXPECT_LT(seconds(), 4);
}

TEST_F(AvahiDiscoveryTest, AFloodOfServicesIsBounded) {
    start();
    std::vector<ServiceDescription> flood;
    for (int i = 0; i < 400; ++i) {
        flood.push_back({"flood " + std::to_string(i) + "\xC3\xA4\n",
                         static_cast<uint16_t>(i),
                         "",
                         {},
                         {"model=" + std::string(200, 'm'), std::string(250, '\xFF')}});
    }
    announce(flood);
    startTheClock();
    const auto found = logging([&] { return discovery.discoverAll(12s); });
    EXPECT_TRUE(tookAbout(12));
    EXPECT_FALSE(found.empty()) << log.substr(0, 1000) << "...\n" << log.substr(log.size() - 1000);
    EXPECT_LE(found.size(), 256u);
    EXPECT_LE(logged("didFind"), 256);
}

TEST_F(AvahiDiscoveryTest, AFloodOfServicesHidesNoDevice) {
    start();
    announce({at("before", {"192.168.1.30"})});
    std::vector<ServiceDescription> flood;
    for (int i = 0; i < 200; ++i)
        flood.push_back({"flood " + std::to_string(i), 5555, "nowhere.local", {}, {}});
    announce(flood);
    announce({at("after", {"192.168.1.31"})});
    const auto found = logging([&] { return discovery.discoverAll(10s); });
    EXPECT_THAT(found,
                ::testing::UnorderedElementsAre(Endpoint{"192.168.1.30", 5555, "before", std::nullopt},
                                                Endpoint{"192.168.1.31", 5555, "after", std::nullopt}));
}

TEST_F(AvahiDiscoveryTest, SearchesRunSideBySide) {
    start();
    announce({at("tablet", {"192.168.1.30"})});
    ::testing::internal::CaptureStderr();
    std::optional<Endpoint> other;
    std::thread beside([&] { other = discovery.discover(5s); });
    const auto found = discovery.discover(5s);
    beside.join();
    ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(found);
    EXPECT_EQ(found, other);
}

}  // namespace
}  // namespace quillon
