#include <fcntl.h>
#include <gtest/gtest.h>

#include <functional>

#include "platform/posix/sockets.hpp"
#include "tests/transport/local_ends.hpp"

namespace quillon {
namespace {

using namespace std::chrono_literals;

class SendProgressTest : public ::testing::Test {
  protected:
    SendProgress progress() { return sockets.sendProgress(host.get()); }
    static bool soon(const std::function<bool()>& isSo) {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!isSo()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
        }
        return true;
    }

    PosixSockets sockets;
    test::TcpListener listener;
    const Descriptor host{sockets.connectTcp("127.0.0.1", listener.port()).descriptor};
    const Descriptor device = listener.accept();
};

TEST_F(SendProgressTest, OfTcpTheKernelTellsWhatWasAcknowledged) {
    const int64_t atFirst = progress().acknowledged;
    sockets.send(host.get(), Bytes(100'000));
    test::receivedText(device.get(), 100'000);
    EXPECT_TRUE(soon([&] { return progress().acknowledged == atFirst + 100'000; }));
    EXPECT_EQ(progress().unsent + progress().inFlight, 0);
    EXPECT_GT(progress().shortestRoundTrip, Duration::zero());
}

TEST_F(SendProgressTest, ALinkWhoseDeviceTakesNothingIsBusy) {
    fcntl(host.get(), F_SETFL, O_NONBLOCK);
    const Bytes much(1 << 20);
    while (sockets.send(host.get(), much) > 0) continue;
    EXPECT_TRUE(soon([&] { return progress().busy > 50ms; }));
    const int64_t acknowledged = progress().acknowledged;
    EXPECT_TRUE(soon([&] { return progress().busy > 100ms; }));
    EXPECT_EQ(progress().acknowledged, acknowledged);
}

}  // namespace
}  // namespace quillon
