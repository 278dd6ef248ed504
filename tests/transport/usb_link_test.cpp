#include "transport/usb_link.hpp"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/simulated/network.hpp"
#include "platform/simulated/threads.hpp"
#include "tests/transport/doubles.hpp"

namespace quillon {
namespace {

using simulated::Listener;
using simulated::Network;

/// A device that says something after a while, or hangs up.
class Speaker : public simulated::Peer {
  public:
    Speaker(simulated::Machine& machine, Network& network) : machine_(machine), network_(network) {}

    std::string speech;
    Duration after = 1ms;
    bool hangsUp = false;
    std::vector<int> connected;
    std::vector<Instant> closedAt;

    void onConnected(int connection) override {
        connected.push_back(connection);
        machine_.after(after, [this, connection, words = speech, hangUp = hangsUp] {
            network_.deliver(connection, viewOf(words));
            if (hangUp) network_.disconnect(connection);
        });
    }
    void onBytes(int, ByteView) override {}
    void onClosed(int) override { closedAt.push_back(machine_.now()); }

  private:
    simulated::Machine& machine_;
    Network& network_;
};

/// Links of the simulated machine, so that ten seconds take none.
class USBLinkTest : public ::testing::Test {
  protected:
    void attach(const std::string& udid, int connectionType,
                Listener::Answer answer = Listener::Answer::accepts) {
        const auto handle = static_cast<uint32_t>(mux.attached.size() + 1);
        mux.attached.push_back({{handle, udid, 0x12ab, connectionType}, {{5555, {speaker, answer}}}});
    }
    void listen(Listener::Answer answer = Listener::Answer::accepts) {
        network.tcpListeners["192.168.1.30:5555"] = {speaker, answer};
    }
    double elapsed() const { return toSeconds(machine.now() - begin); }

    /// What `action` throws, in its words.
    template <typename Action>
    std::string failureOf(Action action, USBLinkError::Case kind) {
        try {
            action();
        } catch (const USBLinkError& error) {
            EXPECT_EQ(error.kind(), kind);
            return error.what();
        }
        return "nothing thrown";
    }

    simulated::Machine machine;
    simulated::SimulatedThreads threads{machine};
    Network network{machine};
    simulated::SimulatedUsbMux mux{network};
    std::shared_ptr<Speaker> speaker = std::make_shared<Speaker>(machine, network);
    USBLink link{threads, network, mux};
    const Instant begin = machine.now();
};

TEST_F(USBLinkTest, ListsDevicesInTheirOrderWithoutNamelessOnes) {
    attach("network", 2);
    attach("", 1);
    attach("cable", 1);
    EXPECT_EQ(link.listDevices(),
              (std::vector<USBLink::USBDevice>{{"network", 0x12ab, 2}, {"cable", 0x12ab, 1}}));
}

TEST_F(USBLinkTest, SoleCabledDevice) {
    EXPECT_EQ(link.soleCabledUDID(), std::nullopt);
    attach("network", 2);
    EXPECT_EQ(link.soleCabledUDID(), std::nullopt);
    attach("cable", 1);
    EXPECT_EQ(link.soleCabledUDID(), "cable");
    attach("second cable", 1);
    EXPECT_EQ(link.soleCabledUDID(), std::nullopt);
}

TEST_F(USBLinkTest, PresentMeansOnACable) {
    attach("network", 2);
    attach("cable", 1);
    EXPECT_TRUE(link.devicePresent("cable"));
    EXPECT_FALSE(link.devicePresent("network"));
    EXPECT_FALSE(link.devicePresent("other"));
}

TEST_F(USBLinkTest, ConnectsAndLeavesTheGreeting) {
    attach("cable", 1);
    speaker->speech = "Tablet 2 2048x1536\nrest";
    EXPECT_EQ(link.lastGreeting(), std::nullopt);
    ::testing::internal::CaptureStderr();
    const int fd = link.connect("cable", 5555);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[usb] device says: Tablet 2 2048x1536\n");
    EXPECT_EQ(link.lastGreeting(), "Tablet 2 2048x1536");
    EXPECT_EQ(test::textOf(link.readExactly(fd, 4)), "rest");
    EXPECT_EQ(network.openDescriptors(), 1u);
}

TEST_F(USBLinkTest, ConnectsByTcp) {
    listen();
    speaker->speech = "Tablet\n";
    ::testing::internal::CaptureStderr();
    const auto greeted = link.connectTCP("192.168.1.30", 5555, 4s);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[tcp] device says: Tablet\n");
    EXPECT_EQ(std::vector<int>{greeted.value().descriptor}, speaker->connected);
    EXPECT_EQ(greeted->greeting, "Tablet");
    EXPECT_EQ(link.lastGreeting(), "Tablet");
}

TEST_F(USBLinkTest, OfTwoConnectionsOpenedAtOnceEachHasItsOwnGreeting) {
    attach("cable", 1);
    listen();
    speaker->speech = "first\n";
    std::optional<USBLink::Greeted> first;
    std::optional<USBLink::Greeted> second;
    speaker->after = 2s;
    machine.spawn([&] { first = link.connect("cable", 5555, 4s); });
    machine.after(1s, [&] { speaker->speech = "second\n"; });
    machine.spawn([&] {
        simulated::Machine::WaitPoint never;
        machine.wait(never, begin + 1500ms);
        second = link.connectTCP("192.168.1.30", 5555, 4s);
    });
    machine.settle();
    EXPECT_EQ(first.value().greeting, "first");
    EXPECT_EQ(second.value().greeting, "second");
}

TEST_F(USBLinkTest, AGreetingCannotCommandTheTerminal) {
    attach("cable", 1);
    speaker->speech = "Tablet\x1b[2J\r\n";
    ::testing::internal::CaptureStderr();
    link.connect("cable", 5555);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[usb] device says: Tablet\\x1b[2J\\x0d\n");
    EXPECT_EQ(link.lastGreeting(), "Tablet\x1b[2J\r");
}

TEST_F(USBLinkTest, SaysWhyThereIsNoConnection) {
    attach("cable", 1, Listener::Answer::refuses);
    const std::string refused = std::to_string(ECONNREFUSED);
    EXPECT_EQ(failureOf([&] { link.connect("other", 5555); }, USBLinkError::Case::deviceNotFound),
              "device other not found over USB");
    EXPECT_EQ(failureOf([&] { link.connect("cable", 5555); }, USBLinkError::Case::connect),
              "usbmux connect failed: usbmuxd_connect returned -1, errno " + refused);
    EXPECT_EQ(failureOf([&] { link.connectTCP("192.168.1.30", 5555); }, USBLinkError::Case::connect),
              "usbmux connect failed: connect(192.168.1.30:5555) errno " + refused);
}

TEST_F(USBLinkTest, FailuresBeforeTheDeadlineGiveNothingAndNoLogLine) {
    attach("cable", 1, Listener::Answer::refuses);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(link.connect("other", 5555, 4s), std::nullopt);
    EXPECT_EQ(link.connect("cable", 5555, 4s), std::nullopt);
    EXPECT_EQ(link.connectTCP("192.168.1.30", 5555, 4s), std::nullopt);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(network.openDescriptors(), 0u);
}

TEST_F(USBLinkTest, ASilentDeviceFailsAfterTenSecondsAndStaysConnected) {
    attach("cable", 1);
    listen();
    const auto kind = USBLinkError::Case::handshakeTimeout;
    EXPECT_EQ(failureOf([&] { link.connect("cable", 5555); }, kind), "device did not send its greeting");
    EXPECT_NEAR(elapsed(), 10, 0.01);
    EXPECT_EQ(failureOf([&] { link.connectTCP("192.168.1.30", 5555); }, kind),
              "device did not send its greeting");
    EXPECT_EQ(network.openDescriptors(), 2u);
    EXPECT_TRUE(speaker->closedAt.empty());
}

TEST_F(USBLinkTest, TheDeadlineEndsTheWaitAndTheLateWorkerClosesASilentConnection) {
    attach("cable", 1);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(link.connect("cable", 5555, 4500ms), std::nullopt);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[Quillon] usb connect timed out after 4s\n");
    EXPECT_NEAR(elapsed(), 4.5, 0.01);
    EXPECT_TRUE(speaker->closedAt.empty());
    machine.settle();
    ASSERT_EQ(speaker->closedAt.size(), 1u);
    EXPECT_NEAR(toSeconds(speaker->closedAt[0] - begin), 10, 0.01);
    EXPECT_EQ(network.openDescriptors(), 0u);
}

TEST_F(USBLinkTest, AConnectionThatComesLateIsClosedAndItsGreetingForgotten) {
    listen();
    speaker->speech = "late\n";
    speaker->after = 6s;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(link.connectTCP("192.168.1.30", 5555, 4s), std::nullopt);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "[Quillon] tcp connect to 192.168.1.30 timed out after 4s\n");

    speaker->speech = "in time\n";
    speaker->after = 1ms;
    EXPECT_TRUE(link.connectTCP("192.168.1.30", 5555, 4s));
    machine.settle();
    EXPECT_EQ(link.lastGreeting(), "in time");
    ASSERT_EQ(speaker->closedAt.size(), 1u);
    EXPECT_NEAR(toSeconds(speaker->closedAt[0] - begin), 6, 0.1);
    EXPECT_EQ(network.openDescriptors(), 1u);
}

TEST_F(USBLinkTest, AHangingServiceCostsTheDeadlineOnly) {
    attach("cable", 1, Listener::Answer::hangs);
    EXPECT_EQ(link.connect("cable", 5555, 4s), std::nullopt);
    EXPECT_FALSE(link.appIsListening("cable", 5555, 1s));
    EXPECT_NEAR(elapsed(), 5, 0.01);
    machine.settle();
    EXPECT_EQ(network.openDescriptors(), 0u);
}

TEST_F(USBLinkTest, ADeviceThatHangsUpBeforeItsGreetingIsNotWaitedFor) {
    attach("cable", 1);
    speaker->hangsUp = true;
    speaker->speech = "half a greet";
    EXPECT_EQ(link.connect("cable", 5555, 4s), std::nullopt);
    EXPECT_NEAR(elapsed(), 0, 0.01);
    EXPECT_EQ(link.lastGreeting(), std::nullopt);
}

TEST_F(USBLinkTest, OfManySilentConnectionsTheNewestStayOpen) {
    attach("cable", 1);
    speaker->hangsUp = true;
    for (int i = 0; i < 100; ++i) EXPECT_EQ(link.connect("cable", 5555, 4s), std::nullopt);
    EXPECT_EQ(network.openDescriptors(), 16u);
}

TEST_F(USBLinkTest, SilentConnectionsEndWithTheLink) {
    attach("cable", 1);
    speaker->hangsUp = true;
    {
        USBLink shortLived(threads, network, mux);
        EXPECT_EQ(shortLived.connect("cable", 5555, 4s), std::nullopt);
        EXPECT_EQ(network.openDescriptors(), 1u);
    }
    EXPECT_EQ(network.openDescriptors(), 0u);
}

TEST_F(USBLinkTest, AWorkerMayOutliveTheLink) {
    attach("cable", 1);
    speaker->speech = "late\n";
    speaker->after = 6s;
    {
        USBLink shortLived(threads, network, mux);
        EXPECT_EQ(shortLived.connect("cable", 5555, 1s), std::nullopt);
    }
    machine.settle();
    EXPECT_EQ(network.openDescriptors(), 0u);
}

TEST_F(USBLinkTest, AppIsListeningConnectsAndHangsUpAtOnce) {
    attach("cable", 1);
    EXPECT_TRUE(link.appIsListening("cable", 5555, 1s));
    EXPECT_EQ(network.openDescriptors(), 0u);
    EXPECT_NEAR(elapsed(), 0, 0.01);
    EXPECT_EQ(link.lastGreeting(), std::nullopt);
}

TEST_F(USBLinkTest, AppIsNotListening) {
    attach("refusing", 1, Listener::Answer::refuses);
    EXPECT_FALSE(link.appIsListening("absent", 5555, 1s));
    EXPECT_FALSE(link.appIsListening("refusing", 5555, 1s));
    EXPECT_FALSE(link.appIsListening("refusing", 5556, 1s));
    EXPECT_NEAR(elapsed(), 0, 0.01);
}

TEST_F(USBLinkTest, ALateProbeClosesItsConnection) {
    attach("slow", 1);
    mux.attached[0].ports[5555].delay = 2s;
    EXPECT_FALSE(link.appIsListening("slow", 5555, 1s));
    machine.settle();
    EXPECT_EQ(network.opened(), 1);
    EXPECT_EQ(network.openDescriptors(), 0u);
}

/// `readLine` and `readExactly` over bytes that the device has already sent.
class USBLinkReadTest : public USBLinkTest {
  protected:
    int receiving(std::string bytes) {
        listen();
        speaker->after = Duration::zero();
        speaker->speech = std::move(bytes);
        speaker->hangsUp = true;
        return network.connectTcp("192.168.1.30", 5555).descriptor;
    }
};

TEST_F(USBLinkReadTest, ALineWithoutEndIsCutAfter4097Bytes) {
    const int fd = receiving(std::string(5000, 'a'));
    EXPECT_EQ(link.readLine(fd, 10), std::string(4097, 'a'));
    EXPECT_EQ(link.readExactly(fd, 903), Bytes(903, 'a'));
}

TEST_F(USBLinkReadTest, A4096ByteLineEndsAtItsLineFeed) {
    const int fd = receiving(std::string(4096, 'a') + "\nb\n");
    EXPECT_EQ(link.readLine(fd, 10), std::string(4096, 'a'));
    EXPECT_EQ(link.readLine(fd, 10), "b");
}

TEST_F(USBLinkReadTest, TheCarriageReturnStaysInTheLine) {
    EXPECT_EQ(link.readLine(receiving("Tablet 2\r\n"), 10), "Tablet 2\r");
}

TEST_F(USBLinkReadTest, AnEmptyLineIsALine) {
    EXPECT_EQ(link.readLine(receiving("\n"), 10), "");
}

TEST_F(USBLinkReadTest, InvalidUtf8IsRepaired) {
    EXPECT_EQ(link.readLine(receiving("caf\xC3\xA9 \xFF!\n"), 10), "café \xEF\xBF\xBD!");
}

TEST_F(USBLinkReadTest, ALineThatBreaksOffIsAHandshakeTimeout) {
    const int fd = receiving("Tab");
    EXPECT_EQ(failureOf([&] { link.readLine(fd, 10); }, USBLinkError::Case::handshakeTimeout),
              "device did not send its greeting");
}

TEST_F(USBLinkReadTest, ReadingNothingTouchesNothing) {
    EXPECT_EQ(link.readExactly(-1, 0), Bytes());
}

TEST_F(USBLinkReadTest, AShortReadIsAnError) {
    const int fd = receiving("12345");
    EXPECT_EQ(failureOf([&] { link.readExactly(fd, 6); }, USBLinkError::Case::connect),
              "usbmux connect failed: recv() errno 0");
    EXPECT_EQ(failureOf([&] { link.readExactly(-1, 1); }, USBLinkError::Case::connect),
              "usbmux connect failed: recv() errno " + std::to_string(EBADF));
}

}  // namespace
}  // namespace quillon
