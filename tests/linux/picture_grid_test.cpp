#include "platform/linux/picture_grid.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace quillon {
namespace {

using namespace std::chrono_literals;
using Clock = PictureGrid::Clock;

constexpr Clock::duration kInterval = 33'333us;

/// Takes pictures of a program that draws every `step`. The consumer is busy for `busy` after each 60th.
struct Watching {
    Clock::duration step = kInterval;
    Clock::duration busy{};

    PictureGrid grid{kInterval};
    std::vector<Clock::time_point> taken{};
    std::vector<Clock::duration> waited{};

    void watch(Clock::duration time) {
        const Clock::time_point start(1h);
        Clock::time_point free = start;
        for (auto changed = start + 7ms; changed < start + time;) {
            const auto now = std::max({changed, grid.due(), free});
            grid.take(now, changed);
            taken.push_back(now);
            waited.push_back(now - changed);
            free = taken.size() % 60 == 0 ? now + busy : now;
            // What is drawn while a picture waits is in it.
            while (changed <= now) changed += step;
        }
    }
    Clock::duration longestWaitOfLast(size_t count) const {
        return *std::max_element(waited.end() - static_cast<ptrdiff_t>(count), waited.end());
    }
};

TEST(PictureGridTest, AChangeAfterRestComesAtOnce) {
    PictureGrid grid(kInterval);
    const Clock::time_point now(1h);
    EXPECT_LE(grid.due(), now);
    grid.take(now, now);
    EXPECT_EQ(grid.due(), now + kInterval - 4ms);
    EXPECT_LE(grid.due(), now + 1s);
}

TEST(PictureGridTest, NeverExceedsTheRate) {
    for (const auto step : {1ms, 5ms, 16ms, 30ms}) {
        for (const auto busy : {0ms, 20ms, 60ms}) {
            Watching watching{.step = step, .busy = busy};
            watching.watch(20s);
            EXPECT_LE(watching.taken.size(), 20u * 30 + 2) << step.count() << " " << busy.count();
            EXPECT_GE(watching.taken.size(), 20u * 30 - 25) << step.count() << " " << busy.count();
        }
    }
}

TEST(PictureGridTest, WhatIsDrawnAtItsRateSoonWaitsNoMore) {
    Watching watching;
    watching.grid.take(Clock::time_point(1h) - 10ms, std::nullopt);  // so the first comes late
    watching.watch(2s);
    EXPECT_GT(watching.waited.front(), 5ms);
    EXPECT_LT(watching.longestWaitOfLast(30), 1ms);
}

TEST(PictureGridTest, LatePicturesDoNotUseUpHowFarItMayMove) {
    Watching watching{.busy = 45ms};
    watching.watch(60s);
    ASSERT_GT(watching.taken.size(), 1700u);
    int late = 0;
    for (size_t i = watching.waited.size() - 600; i < watching.waited.size(); ++i)
        late += watching.waited[i] > 2ms ? 1 : 0;
    EXPECT_LT(late, 10 * 6) << "of 600, with 10 that came late";
}

}  // namespace
}  // namespace quillon
