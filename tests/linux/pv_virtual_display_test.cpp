#include "display/pv_virtual_display.h"

#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <thread>

#include "platform/linux/x11_displays.hpp"
#include "tests/linux/held_display.hpp"
#include "tests/linux/pv_in_c.h"
#include "tests/linux/x11_fixture.hpp"

namespace quillon::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class PvVirtualDisplayTest : public X11Test {
  protected:
    std::vector<Size> sizes(void* handle) {
        std::vector<Size> all;
        for (const DisplayMode& mode : displays_.modes(pv_virtual_display_id(handle))) {
            all.push_back({mode.width, mode.height});
        }
        return all;
    }
    /// The name that the monitor says it has.
    std::string nameOf(void* handle) {
        constexpr size_t kName = 95;
        constexpr size_t kRoom = 13;
        const std::vector<uint8_t> edid = edidOf(painter_->connection(), pv_virtual_display_id(handle));
        if (edid.size() < kName + kRoom) return "";
        const std::string name(edid.begin() + kName, edid.begin() + kName + kRoom);
        return name.substr(0, name.find('\n'));
    }
    X11Displays displays_;
};

TEST_F(PvVirtualDisplayTest, ADisplayLivesAsLongAsItsHandle) {
    void* const handle = pv_virtual_display_create(1600, 1200, 1, 2048, 1536, "CycleTest", 60);
    ASSERT_NE(handle, nullptr);
    const DisplayID id = pv_virtual_display_id(handle);
    EXPECT_THAT(displays_.active(), ElementsAre(displays_.main(), id));
    EXPECT_EQ(displays_.identity(id), (Displays::Identity{1452, 4096}));
    EXPECT_EQ(nameOf(handle), "CycleTest");
    EXPECT_THAT(sizes(handle), ElementsAre(Size{1600, 1200}));
    pv_virtual_display_destroy(handle);
    EXPECT_THAT(displays_.active(), SizeIs(1));
}

TEST_F(PvVirtualDisplayTest, WithoutANameItIsCalledQuillon) {
    void* const handle = pv_virtual_display_create(1024, 768, 0, 8192, 8192, nullptr, 60);
    EXPECT_EQ(nameOf(handle), "Quillon");
    pv_virtual_display_destroy(handle);
}

TEST_F(PvVirtualDisplayTest, HalfASecondModeIsNone) {
    struct Row {
        uint32_t width, height;
        std::vector<Size> sizes;
    };
    const Row rows[] = {
        {800, 600, {{1024, 768}, {800, 600}}}, {800, 0, {{1024, 768}}}, {0, 600, {{1024, 768}}}};
    for (const Row& row : rows) {
        void* const handle =
            pv_virtual_display_create_modes(1024, 768, row.width, row.height, 0, 8192, 8192, "Two", 60);
        EXPECT_EQ(sizes(handle), row.sizes) << row.width << "x" << row.height;
        pv_virtual_display_destroy(handle);
    }
}

TEST_F(PvVirtualDisplayTest, SizesKeepTheirOrderAndImpossibleOnesAreLeftOut) {
    constexpr uint32_t kHuge = std::numeric_limits<uint32_t>::max();
    const std::array<uint32_t, 5> widths{1600, 0, 1024, kHuge, 2048};
    const std::array<uint32_t, 5> heights{1200, 768, 768, kHuge, 1536};
    void* const handle =
        pv_virtual_display_create_sizes(widths.data(), heights.data(), 5, 0, kHuge, kHuge, "Sizes", 60);
    EXPECT_THAT(sizes(handle), ElementsAre(Size{1600, 1200}, Size{1024, 768}, Size{2048, 1536}));
    pv_virtual_display_destroy(handle);
}

TEST_F(PvVirtualDisplayTest, ImpossibleWishesGiveNoDisplay) {
    const uint32_t width = 1024;
    const uint32_t height = 768;
    for (const int count : {0, -1}) {
        EXPECT_EQ(pv_virtual_display_create_sizes(&width, &height, count, 0, 8192, 8192, "None", 60),
                  nullptr);
    }
    EXPECT_EQ(pv_virtual_display_create(0, 768, 0, 8192, 8192, "None", 60), nullptr);
    EXPECT_EQ(pv_virtual_display_create(1024, 768, 0, 800, 600, "None", 60), nullptr);
    EXPECT_EQ(pv_virtual_display_create(1024, 768, 0, 0, 0, "None", 60), nullptr);
    EXPECT_EQ(pv_virtual_display_create(1024, 768, 0, 8192, 8192, "None", -1), nullptr);
    EXPECT_THAT(displays_.active(), SizeIs(1));
}

TEST_F(PvVirtualDisplayTest, SpeaksC) {
    EXPECT_NE(pvIdentifierSeenFromC(1024, 768), 0u);
    EXPECT_TRUE(pvNullIsHarmlessInC());
    EXPECT_THAT(displays_.active(), SizeIs(1));
}

TEST_F(PvVirtualDisplayTest, ServesSeveralThreads) {
    constexpr int kThreads = 4;
    std::array<void*, kThreads> handles{};
    std::vector<std::thread> threads;
    for (void*& handle : handles) {
        threads.emplace_back(
            [&handle] { handle = pv_virtual_display_create(640, 480, 0, 8192, 8192, nullptr, 60); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(displays_.active(), SizeIs(1 + kThreads)) << "each has an output of its own";
    threads.clear();
    for (void* const handle : handles) threads.emplace_back([handle] { pv_virtual_display_destroy(handle); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(displays_.active(), SizeIs(1));
}

TEST(PvVirtualDisplayWithoutServer, IsNone) {
    unsetenv("DISPLAY");
    EXPECT_EQ(pv_virtual_display_create(1024, 768, 0, 8192, 8192, nullptr, 60), nullptr);
}

}  // namespace
}  // namespace quillon::testing
