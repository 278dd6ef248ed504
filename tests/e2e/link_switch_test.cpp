#include <gmock/gmock.h>

#include <condition_variable>
#include <functional>
#include <mutex>

#include "device/device.hpp"
#include "tests/e2e/desk_fixture.hpp"
#include "tests/support/avahi_daemon.hpp"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;
using device::ScreenState;
using Clock = std::chrono::steady_clock;

/// A device that announces itself on the network and whose cable is plugged and pulled.
class Tablet {
  public:
    explicit Tablet(const std::string& muxSocket)
        : device_(options(), device::Device::Shown::whenDecoded), mux_(muxSocket) {
        device_.screen().observe([this] {
            const std::lock_guard held(lock_);
            changed_.notify_all();
        });
        device_.start();
    }

    void plug() {
        UsbmuxServer::Device cabled;
        cabled.udid = kUdid;
        cabled.apps[5555] = [this](int host) { device_.offer(Descriptor(host)); };
        mux_.addDevice(std::move(cabled));
    }
    void pull() { mux_.removeDevice(kUdid); }

    /// Waits for the moment at which `isSo` is true.
    std::optional<Clock::time_point> when(const std::function<bool(const ScreenState&)>& isSo,
                                          Clock::duration limit) {
        const auto deadline = Clock::now() + limit;
        std::unique_lock held(lock_);
        while (!isSo(device_.screen().state())) {
            if (changed_.wait_until(held, deadline) == std::cv_status::timeout) return std::nullopt;
        }
        return Clock::now();
    }
    auto whenLinkEnds(Clock::duration limit) {
        return when([](const ScreenState& state) { return !state.link; }, limit);
    }
    auto whenPictureComesOver(const std::string& link, Clock::duration limit) {
        return when(
            [&](const ScreenState& state) {
                return state.link && state.frame && state.frame->link == state.link &&
                       state.linkName.starts_with(link);
            },
            limit);
    }
    device::Statistics& statistics() { return device_.statistics(); }

  private:
    static constexpr const char* kUdid = "tablet-1";

    static device::Options options() {
        device::Options options;
        options.bind = "127.0.0.1";
        options.port = 0;
        options.headless = true;
        options.panel = {1024, 768};
        options.announcedName = "Tablet on the desk";
        return options;
    }

    std::mutex lock_;
    std::condition_variable changed_;
    device::Device device_;
    UsbmuxServer mux_;  // last: it offers hosts to the device
};

/// What a process holds.
struct Holdings {
    ptrdiff_t descriptors = 0;
    ptrdiff_t threads = 0;
    std::string displays;
    bool operator==(const Holdings&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Holdings& each) {
    return stream << each.descriptors << " descriptors, " << each.threads << " threads, " << each.displays;
}

ptrdiff_t entriesOf(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

class LinkSwitchTest : public DeskTest {
  protected:
    void SetUp() override {
        if (const std::string missing = AvahiDaemon::missing(); !missing.empty()) GTEST_SKIP() << missing;
        startXServer();
        if (IsSkipped() || HasFatalFailure()) return;
        avahi = std::make_unique<AvahiDaemon>();
        ASSERT_TRUE(avahi->start()) << avahi->output();
        tablet = std::make_unique<Tablet>(muxSocket());
    }

    Holdings holdingsOf(const ChildProcess& process) const {
        const std::string folder = "/proc/" + std::to_string(process.pid());
        return {entriesOf(folder + "/fd"), entriesOf(folder + "/task"), activeMonitors()};
    }
    /// Waits until the process holds no more than `expected`; what it holds then.
    Holdings settledHoldingsOf(const ChildProcess& process, const Holdings& expected) const {
        const auto deadline = Clock::now() + 5s;
        Holdings now = holdingsOf(process);
        while (now != expected && Clock::now() < deadline) now = holdingsOf(process);
        return now;
    }

    std::unique_ptr<AvahiDaemon> avahi;
    std::unique_ptr<Tablet> tablet;

  private:
    std::string activeMonitors() const {
        ChildProcess list({"xrandr", "-d", server->display(), "--listactivemonitors"});
        list.waitForEnd();
        return list.output();
    }
};

TEST_F(LinkSwitchTest, TheDeviceIsFoundOnTheNetworkWithoutACable) {
    const auto host = startHost({"--mirror", "--transport", "auto"});
    ASSERT_TRUE(tablet->whenPictureComesOver("Wi-Fi", 30s)) << host->output();
    EXPECT_TRUE(host->printed("discovered Tablet on the desk at 127.0.0.1:")) << host->output();
    EXPECT_TRUE(host->printed("Mirroring main display · Wi-Fi (127.0.0.1)")) << host->output();
}

TEST_F(LinkSwitchTest, TheCableIsPreferredAndTheNetworkNotSearched) {
    tablet->plug();
    const auto host = startHost({"--mirror", "--transport", "auto"});
    ASSERT_TRUE(tablet->whenPictureComesOver("USB", 30s)) << host->output();
    EXPECT_EQ(host->output().find("discover"), std::string::npos);
}

TEST_F(LinkSwitchTest, OverWiFiAloneACableChangesNothing) {
    const auto host = startHost({"--mirror", "--transport", "wifi"});
    ASSERT_TRUE(tablet->whenPictureComesOver("Wi-Fi", 30s)) << host->output();
    tablet->plug();
    EXPECT_FALSE(tablet->whenLinkEnds(4s)) << host->output();
}

// The display that the device extends stays the same one all the time, and so do descriptors and threads.
TEST_F(LinkSwitchTest, TheCableComesAndGoesTwentyTimes) {
    const auto host = startHost({"--transport", "auto"});
    ASSERT_TRUE(tablet->whenPictureComesOver("Wi-Fi", 30s)) << host->output();
    std::optional<Holdings> first;
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        tablet->plug();
        const auto ended = tablet->whenLinkEnds(3500ms);
        ASSERT_TRUE(ended) << host->output();
        const auto picture = tablet->whenPictureComesOver("USB", 10s);
        ASSERT_TRUE(picture) << host->output();
        EXPECT_LE(*picture - *ended, 2s);
        if (!first) first = holdingsOf(*host);

        tablet->pull();
        ASSERT_TRUE(tablet->whenLinkEnds(2s)) << host->output();
        ASSERT_TRUE(tablet->whenPictureComesOver("Wi-Fi", 15s)) << host->output();
    }
    tablet->plug();
    ASSERT_TRUE(tablet->whenPictureComesOver("USB", 10s)) << host->output();
    EXPECT_EQ(settledHoldingsOf(*host, *first), *first);
    EXPECT_TRUE(host->printedTimes("auto: cable detected for tablet-1, switching back to USB", 21, 1s));
    EXPECT_EQ(tablet->statistics().linkCounts().missingReferences, 0u);
}

}  // namespace
}  // namespace quillon::testing
