#include "platform/linux/run_loop.hpp"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <memory>

namespace quillon {
namespace {

TEST(LinuxRunLoopTest, TellsOfReadableDescriptors) {
    LinuxRunLoop loop;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int told = 0;
    std::unique_ptr<LinuxRunLoop::Watch> watch;
    watch = loop.watchReadable(ends[0], [&] {
        char byte = 0;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
        if (++told == 2) {
            watch.reset();
            loop.stop();
        }
    });
    ASSERT_EQ(write(ends[1], "ab", 2), 2);
    loop.run();
    EXPECT_EQ(told, 2);
    close(ends[0]);
    close(ends[1]);
}

TEST(LinuxRunLoopTest, LivesInsideAnotherLoop) {
    LinuxRunLoop loop;
    int ran = 0;
    loop.post([&] { ++ran; });
    const auto timer = loop.addTimer(
        10ms, RunLoop::Repeat::once, [&] { ++ran; }, 0ms);
    for (int rounds = 0; ran < 2 && rounds < 100; ++rounds) {
        pollfd ready{loop.descriptor(), POLLIN, 0};
        ASSERT_EQ(poll(&ready, 1, 5000), 1);
        loop.runReady();
    }
    EXPECT_EQ(ran, 2);
    pollfd quiet{loop.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&quiet, 1, 0), 0) << "nothing left to do";
}

}  // namespace
}  // namespace quillon
