#include "platform/posix/sockets.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>

#include "platform/platform.hpp"
#include "platform/usb_mux.hpp"
#include "tests/transport/local_ends.hpp"
#include "transport/usb_link.hpp"

namespace quillon {
namespace {

int optionOf(int descriptor, int level, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(descriptor, level, option, &value, &size), 0);
    return value;
}

long receiveTimeoutOf(int descriptor) {
    timeval limit{};
    socklen_t size = sizeof limit;
    EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, &size), 0);
    return limit.tv_sec * 1'000'000 + limit.tv_usec;
}

class PosixSocketsTest : public ::testing::Test {
  protected:
    PosixSockets sockets;
};

TEST_F(PosixSocketsTest, ConnectsWithoutDelayAndWithLittleUnsent) {
    test::TcpListener listener;
    const TcpAttempt attempt = sockets.connectTcp("127.0.0.1", listener.port());
    ASSERT_EQ(attempt.stage, TcpAttempt::Stage::connected);
    const Descriptor host(attempt.descriptor);
    EXPECT_NE(optionOf(host.get(), IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_EQ(optionOf(host.get(), IPPROTO_TCP, TCP_NOTSENT_LOWAT), 16 * 1024);
    EXPECT_EQ(fcntl(host.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(host.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(PosixSocketsTest, SaysWhereAConnectFailed) {
    test::TcpListener listener;
    const uint16_t port = listener.port();
    listener.close();
    const TcpAttempt refused = sockets.connectTcp("127.0.0.1", port);
    EXPECT_EQ(refused.stage, TcpAttempt::Stage::connecting);
    EXPECT_EQ(refused.code, ECONNREFUSED);
    EXPECT_EQ(refused.descriptor, -1);

    // Only IPv4 is asked for, so this name has no address.
    const TcpAttempt unresolved = sockets.connectTcp("::1", port);
    EXPECT_EQ(unresolved.stage, TcpAttempt::Stage::resolving);
    EXPECT_NE(unresolved.code, 0);
    EXPECT_EQ(unresolved.descriptor, -1);
}

TEST_F(PosixSocketsTest, ASendToNobodyFailsWithoutASignal) {
    auto [host, device] = test::localPair();
    device.close();
    EXPECT_EQ(sockets.send(host.get(), viewOf("x")), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(PosixSocketsTest, CountsUnsentBytesOfALocalSocket) {
    auto [host, device] = test::localPair();
    EXPECT_EQ(sockets.sendProgress(host.get()).unsent, 0);
    sockets.send(host.get(), Bytes(5000));
    EXPECT_GE(sockets.sendProgress(host.get()).unsent, 5000);
    test::receivedText(device.get(), 5000);
    EXPECT_EQ(sockets.sendProgress(host.get()).unsent, 0);
    EXPECT_EQ(sockets.sendProgress(-1).unsent, 0);
}

TEST_F(PosixSocketsTest, CountsUnsentBytesOfATcpSocket) {
    test::TcpListener listener;
    const Descriptor host(sockets.connectTcp("127.0.0.1", listener.port()).descriptor);
    const Descriptor device = listener.accept();
    EXPECT_EQ(sockets.sendProgress(host.get()).unsent, 0);
    fcntl(host.get(), F_SETFL, O_NONBLOCK);
    const Bytes much(1 << 20);
    while (sockets.send(host.get(), much) > 0) continue;
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_GT(sockets.sendProgress(host.get()).unsent, 0);
}

TEST_F(PosixSocketsTest, ClearsTheNonBlockingFlag) {
    auto [host, device] = test::localPair();
    fcntl(host.get(), F_SETFL, O_NONBLOCK);
    sockets.makeBlockingWithoutDelay(host.get());
    EXPECT_EQ(fcntl(host.get(), F_GETFL) & O_NONBLOCK, 0);
    sockets.makeBlockingWithoutDelay(-1);
}

TEST_F(PosixSocketsTest, SetsTheSendBuffer) {
    auto [host, device] = test::localPair();
    sockets.setSendBuffer(host.get(), 65536);
    EXPECT_GE(optionOf(host.get(), SOL_SOCKET, SO_SNDBUF), 65536);  // Linux tells the double
    sockets.setSendBuffer(-1, 65536);
}

TEST_F(PosixSocketsTest, AReceiveTimeoutEndsAWait) {
    auto [host, device] = test::localPair();
    sockets.setReceiveTimeout(host.get(), 1);
    uint8_t byte = 0;
    EXPECT_EQ(sockets.receive(host.get(), {&byte, 1}, Sockets::Fill::any), -1);
    EXPECT_EQ(errno, EAGAIN);
    sockets.setReceiveTimeout(host.get(), 0);
    EXPECT_EQ(receiveTimeoutOf(host.get()), 0);
}

TEST_F(PosixSocketsTest, ShutdownEndsAWaitingReceive) {
    auto [host, device] = test::localPair();
    auto waiting = std::async(std::launch::async, [&, fd = host.get()] {
        Bytes buffer(13);
        return sockets.receive(fd, buffer, Sockets::Fill::whole);
    });
    sockets.shutdown(host.get());
    EXPECT_EQ(waiting.get(), 0);
}

TEST_F(PosixSocketsTest, ASignalDoesNotEndAReceive) {
    auto [observer, handler] = test::localPair();
    static int handlers;
    handlers = handler.get();
    struct sigaction action {};
    action.sa_handler = [](int) {
        if (write(handlers, "!", 1) != 1) abort();
    };
    struct sigaction previous {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

    auto [host, device] = test::localPair();
    ptrdiff_t count = 0;
    uint8_t byte = 0;
    std::thread reader([&, fd = host.get()] { count = sockets.receive(fd, {&byte, 1}, Sockets::Fill::any); });
    // Again until it has come: a sanitizer holds back one that comes a moment before the thread waits.
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    pollfd handled{observer.get(), POLLIN, 0};
    do {
        pthread_kill(reader.native_handle(), SIGUSR1);
    } while (poll(&handled, 1, 20) == 0 && std::chrono::steady_clock::now() < deadline);
    EXPECT_EQ(test::receivedText(observer.get(), 1), "!");
    test::sendText(device.get(), "a");
    reader.join();
    EXPECT_EQ(count, 1);
    EXPECT_EQ(byte, 'a');
    sigaction(SIGUSR1, &previous, nullptr);
}

/// The link's TCP side over real sockets.
class TcpLinkTest : public ::testing::Test {
  protected:
    class NoMux : public UsbMux {
        std::vector<Device> devices() override { return {}; }
        std::optional<Device> deviceByUdid(const std::string&) override { return std::nullopt; }
        Attempt connect(uint32_t, uint16_t) override { return {}; }
    };

    /// Connects while the device, already connected by the kernel, says `greeting`.
    std::pair<std::optional<Descriptor>, Descriptor> connectTo(const std::string& greeting) {
        auto host = std::async(std::launch::async,
                               [this] { return link.connectTCP("127.0.0.1", listener.port(), 5s); });
        Descriptor device = listener.accept();
        test::sendText(device.get(), greeting);
        const auto greeted = host.get();
        return {greeted ? std::optional<Descriptor>(greeted->descriptor) : std::nullopt, std::move(device)};
    }

    PosixSockets sockets;
    NoMux mux;
    const std::unique_ptr<Platform> platform = makePlatform();
    Threads& threads = platform->threads();
    USBLink link{threads, sockets, mux};
    test::TcpListener listener;
};

TEST_F(TcpLinkTest, ConnectsAndWaitsWithoutLimitAfterwards) {
    const auto [host, device] = connectTo("Tablet 2 2048x1536\r\n");
    ASSERT_TRUE(host);
    EXPECT_EQ(link.lastGreeting(), "Tablet 2 2048x1536\r");
    EXPECT_EQ(receiveTimeoutOf(host->get()), 0);
}

TEST_F(TcpLinkTest, AGreetingOf5000BytesIsCut) {
    const auto [host, device] = connectTo(std::string(5000, 'g'));
    ASSERT_TRUE(host);
    EXPECT_EQ(link.lastGreeting(), std::string(4097, 'g'));
    EXPECT_EQ(link.readExactly(host->get(), 903).size(), 903u);
}

TEST_F(TcpLinkTest, ADeviceThatHangsUpIsNoLink) {
    auto host =
        std::async(std::launch::async, [this] { return link.connectTCP("127.0.0.1", listener.port(), 5s); });
    listener.accept().close();
    EXPECT_EQ(host.get(), std::nullopt);
}

TEST_F(TcpLinkTest, AnAbandonedConnectionIsClosedWhenItsGreetingComes) {
    auto host = std::async(std::launch::async,
                           [this] { return link.connectTCP("127.0.0.1", listener.port(), 50ms); });
    const Descriptor device = listener.accept();
    EXPECT_EQ(host.get(), std::nullopt);
    test::sendText(device.get(), "late\n");
    EXPECT_TRUE(test::endsSoon(device.get()));
    EXPECT_EQ(link.lastGreeting(), std::nullopt);
}

TEST_F(TcpLinkTest, ASilentDeviceKeepsItsConnection) {
    auto [host, device] = test::localPair();
    EXPECT_THROW(link.readLine(host.get(), 1), USBLinkError);
    EXPECT_EQ(receiveTimeoutOf(host.get()), 1'000'000);  // left as it was while waiting
    test::sendText(device.get(), "x");
    EXPECT_EQ(test::receivedText(host.get(), 1), "x");
}

TEST_F(TcpLinkTest, FailuresHaveTheirTexts) {
    const uint16_t port = listener.port();
    listener.close();
    try {
        link.connectTCP("127.0.0.1", port);
        FAIL();
    } catch (const USBLinkError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "usbmux connect failed: connect(127.0.0.1:" + std::to_string(port) + ") errno " +
                      std::to_string(ECONNREFUSED));
    }
    try {
        link.connectTCP("::1", port);
        FAIL();
    } catch (const USBLinkError& error) {
        EXPECT_TRUE(
            std::string(error.what()).starts_with("usbmux connect failed: getaddrinfo(::1) failed: -"));
    }
}

}  // namespace
}  // namespace quillon
