#include <xcb/screensaver.h>

#include <cstdlib>
#include <memory>

#include "tests/shell/desk.hpp"
#include "tests/shell/screen_saver.hpp"
#include "tests/shell/toolkit.hpp"

// The lock that keeps displays awake, with the screen savers that a desktop may have.

namespace quillon::testing {
namespace {

class WakeLockTest : public Desk {
  protected:
    void startAwake() {
        startProbe({"--keep-awake"});
        ASSERT_TRUE(says("timer fired"));
    }
    /// A second start is the probe's word to give the lock back.
    void giveBack() {
        ChildProcess second({QUILLON_SHELL_PROBE}, environment);
        ASSERT_TRUE(says("lock given back"));
    }
    ::testing::AssertionResult becomesHeld(const ScreenSaver& saver, int held) {
        if (eventually([&] { return saver.held() == held; })) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "held by " << saver.held() << "\n" << probe().output();
    }
};

TEST_F(WakeLockTest, InhibitsTheDesktopsScreenSaver) {
    ScreenSaver saver(busAddress());
    startAwake();
    ASSERT_TRUE(becomesHeld(saver, 1));
    EXPECT_EQ(saver.reason(), "Quillon streaming");
    giveBack();
    EXPECT_TRUE(becomesHeld(saver, 0));
}

TEST_F(WakeLockTest, InhibitsAScreenSaverThatStartsLaterAndOneThatStartsAnew) {
    startAwake();
    auto saver = std::make_unique<ScreenSaver>(busAddress());
    EXPECT_TRUE(becomesHeld(*saver, 1));
    saver.reset();
    saver = std::make_unique<ScreenSaver>(busAddress());
    EXPECT_TRUE(becomesHeld(*saver, 1));
    giveBack();
    EXPECT_TRUE(becomesHeld(*saver, 0));
}

TEST_F(WakeLockTest, AScreenSaverThatRefusesIsTold) {
    ScreenSaver saver(busAddress(), ScreenSaver::Mood::refuses);
    startAwake();
    EXPECT_TRUE(says("[Quillon] wake lock refused: not today"));
    giveBack();
    EXPECT_EQ(saver.asked(), 1);
}

TEST_F(WakeLockTest, AScreenSaverThatHangsHoldsUpNothingAndIsGivenBackInTheEnd) {
    ScreenSaver saver(busAddress(), ScreenSaver::Mood::hangs);
    startAwake();
    ASSERT_TRUE(eventually([&] { return saver.asked() == 1; }));
    giveBack();
    EXPECT_EQ(saver.held(), 0);
    saver.goOn();
    EXPECT_EQ(saver.held(), 1) << "as it was asked to";
    EXPECT_TRUE(becomesHeld(saver, 0));
    probe().signal(SIGTERM);
    EXPECT_EQ(probe().waitForEnd(), 0);
}

/// What the X server says of its own screen saver.
class ServersSaver {
  public:
    ServersSaver() : connection_(xcb_connect(nullptr, nullptr)) {}
    ~ServersSaver() { xcb_disconnect(connection_); }
    ServersSaver(const ServersSaver&) = delete;
    ServersSaver& operator=(const ServersSaver&) = delete;

    bool isOn() const { return query().state == XCB_SCREENSAVER_STATE_ON; }
    std::chrono::milliseconds idle() const { return std::chrono::milliseconds(query().ms_since_user_input); }

  private:
    xcb_screensaver_query_info_reply_t query() const {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
        auto* const reply = xcb_screensaver_query_info_reply(
            connection_, xcb_screensaver_query_info(connection_, root), nullptr);
        if (reply == nullptr) throw std::runtime_error("the server has no screen saver");
        const auto copy = *reply;
        std::free(reply);
        return copy;
    }
    xcb_connection_t* const connection_;
};

TEST_F(WakeLockTest, OnBareX11TheServersOwnSaverWaitsForItsEnd) {
    startAwake();
    ASSERT_EQ(std::system("xset s 1 1 && xdotool mousemove 100 100"), 0);
    const ServersSaver saver;
    // Twice the time after which it would start.
    ASSERT_TRUE(eventually([&] { return saver.idle() > std::chrono::milliseconds(2000); }));
    EXPECT_FALSE(saver.isOn());
    giveBack();
    EXPECT_TRUE(eventually([&] { return saver.isOn(); }));
}

}  // namespace
}  // namespace quillon::testing
