#include "platform/linux/x11_displays.hpp"

#include <gmock/gmock.h>
#include <xcb/randr.h>

#include <string_view>

#include "tests/linux/x11_fixture.hpp"

namespace quillon::testing {
namespace {

using ::testing::Contains;
using ::testing::SizeIs;

class X11DisplaysTest : public X11Test {
  protected:
    void addSecond(const std::string& place) {
        ASSERT_TRUE(server_->xrandr("--newmode small 40 800 840 900 1000 600 601 604 666"));
        ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 small"));
        ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode small " + place));
    }
    void setEdid(DisplayID display, const std::array<uint8_t, 128>& edid) {
        xcb_connection_t* c = painter_->connection().get();
        constexpr std::string_view kName = "EDID";
        const auto atom =
            owned(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, kName.size(), kName.data()), nullptr));
        xcb_randr_change_output_property(c, display, atom->atom, XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
                                         static_cast<uint32_t>(edid.size()), edid.data());
        painter_->settle();
    }
    X11Displays displays_;
};

TEST_F(X11DisplaysTest, KnowsOneDisplay) {
    const auto active = displays_.active();
    ASSERT_THAT(active, SizeIs(1));
    EXPECT_EQ(displays_.main(), active[0]);
    EXPECT_EQ(displays_.bounds(active[0]), (Rect{0, 0, 1920, 1080}));
    const auto mode = displays_.currentMode(active[0]);
    ASSERT_TRUE(mode);
    EXPECT_EQ(mode->width, 1920);
    EXPECT_EQ(mode->pixelWidth, 1920);
    EXPECT_THAT(displays_.modes(active[0]), Contains(*mode));
    EXPECT_FALSE(displays_.mirroring(active[0]).inMirrorSet);
}

TEST_F(X11DisplaysTest, FollowsChanges) {
    ASSERT_THAT(displays_.active(), SizeIs(1));
    addSecond("--left-of DUMMY0");
    const auto active = displays_.active();
    ASSERT_THAT(active, SizeIs(2));
    EXPECT_EQ(displays_.main(), active[0]) << "the first, as none is primary";
    EXPECT_EQ(displays_.bounds(active[1]), (Rect{-800, 0, 800, 600}));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --primary"));
    EXPECT_EQ(displays_.main(), active[1]);
    EXPECT_EQ(displays_.bounds(active[0]), (Rect{800, 0, 1920, 1080}));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --off"));
    EXPECT_THAT(displays_.active(), SizeIs(1));
    EXPECT_EQ(displays_.bounds(active[1]), Rect{});
    EXPECT_TRUE(displays_.modes(active[1]).empty());
    EXPECT_FALSE(displays_.currentMode(active[1]));
}

TEST_F(X11DisplaysTest, ReadsTheIdentityFromEdid) {
    const DisplayID display = displays_.main();
    EXPECT_EQ(displays_.identity(display), Displays::Identity{});
    std::array<uint8_t, 128> edid{0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0x05, 0xAC, 0x00, 0x10};
    setEdid(display, edid);
    EXPECT_EQ(displays_.identity(display), (Displays::Identity{1452, 4096}));
    EXPECT_EQ(displays_.identity(4711), Displays::Identity{});
}

TEST_F(X11DisplaysTest, RecognisesMirroring) {
    addSecond("--same-as DUMMY0");
    const auto active = displays_.active();
    ASSERT_THAT(active, SizeIs(2));
    EXPECT_FALSE(displays_.mirroring(active[1]).inMirrorSet) << "only partly the same";
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --off"));
    ASSERT_TRUE(server_->xrandr("--addmode DUMMY1 1920x1080"));
    ASSERT_TRUE(server_->xrandr("--output DUMMY1 --mode 1920x1080 --same-as DUMMY0"));
    EXPECT_TRUE(displays_.mirroring(active[0]).inMirrorSet);
    EXPECT_EQ(displays_.mirroring(active[0]).mirrors, 0u);
    EXPECT_TRUE(displays_.mirroring(active[1]).inMirrorSet);
    EXPECT_EQ(displays_.mirroring(active[1]).mirrors, active[0]);
}

TEST_F(X11DisplaysTest, WithoutRandRTheScreenIsOneDisplay) {
    startServer({"-extension", "RANDR"});
    const auto active = displays_.active();
    ASSERT_THAT(active, SizeIs(1));
    EXPECT_EQ(displays_.main(), active[0]);
    const Rect bounds = displays_.bounds(active[0]);
    EXPECT_GE(bounds.width, 1920);
    ASSERT_TRUE(displays_.currentMode(active[0]));
    EXPECT_EQ(displays_.currentMode(active[0])->width, static_cast<int>(bounds.width));
    EXPECT_EQ(displays_.identity(active[0]), Displays::Identity{});
}

TEST_F(X11DisplaysTest, OutlivesTheServerAndFindsTheNext) {
    ASSERT_THAT(displays_.active(), SizeIs(1));
    const DisplayID display = displays_.main();
    painter_.reset();
    server_->kill();
    EXPECT_TRUE(displays_.active().empty());
    EXPECT_EQ(displays_.main(), 0u);
    EXPECT_EQ(displays_.bounds(display), Rect{});
    EXPECT_EQ(displays_.identity(display), Displays::Identity{});
    EXPECT_FALSE(displays_.mirroring(display).inMirrorSet);
    startServer();
    EXPECT_THAT(displays_.active(), SizeIs(1));
}

TEST(X11DisplaysWithoutServer, AreNone) {
    unsetenv("DISPLAY");
    X11Displays displays;
    EXPECT_TRUE(displays.active().empty());
    EXPECT_EQ(displays.main(), 0u);
    EXPECT_FALSE(displays.setMode(1, {}));
    EXPECT_FALSE(displays.stopMirroring(1));
    EXPECT_FALSE(displays.setOrigin(1, 0, 0));
}

}  // namespace
}  // namespace quillon::testing
