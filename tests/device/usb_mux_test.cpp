// The real libusbmuxd against the server of the reference device. The library keeps state for its whole
// process, and the test runner starts a process for each test.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <memory>

#include "device/usbmux_server.hpp"
#include "platform/linux/threads.hpp"
#include "platform/posix/sockets.hpp"
#include "platform/posix/usb_mux.hpp"
#include "tests/support/temporary_folder.hpp"
#include "tests/transport/local_ends.hpp"
#include "transport/message_reader.hpp"
#include "transport/usb_link.hpp"

namespace quillon {
namespace {

using Fault = UsbmuxServer::Fault;

/// The app on a device: hands its connections to the test.
class TestApp {
  public:
    UsbmuxServer::App onConnect(std::string greeting) {
        return [this, greeting = std::move(greeting)](int descriptor) {
            // Whoever only probes is gone by now.
            send(descriptor, greeting.data(), greeting.size(), MSG_NOSIGNAL);
            connection_.set_value(descriptor);
        };
    }
    /// The first connection.
    Descriptor connection() { return Descriptor(connection_.get_future().get()); }

  private:
    std::promise<int> connection_;
};

class UsbMuxTest : public ::testing::Test {
  protected:
    UsbMuxTest() { setenv("USBMUXD_SOCKET_ADDRESS", ("UNIX:" + path).c_str(), 1); }

    void startServer() { server = std::make_unique<UsbmuxServer>(path); }
    void addDevice(const std::string& udid,
                   UsbmuxServer::Connection connection = UsbmuxServer::Connection::cable,
                   UsbmuxServer::App app = nullptr) {
        UsbmuxServer::Device device{udid, 0x12ab, connection, {}};
        if (app) device.apps[5555] = std::move(app);
        server->addDevice(std::move(device));
    }

    test::TemporaryFolder folder;
    const std::string path = folder / "usbmuxd";
    PosixSockets sockets;
    LibUsbMux mux;
    std::unique_ptr<LinuxThreads> threads = std::make_unique<LinuxThreads>();
    USBLink link{*threads, sockets, mux};
    // Ends first, so that nobody waits for a server that hangs.
    std::unique_ptr<UsbmuxServer> server;
};

constexpr auto kNetwork = UsbmuxServer::Connection::network;

TEST_F(UsbMuxTest, NoServerMeansNoDevices) {
    EXPECT_TRUE(link.listDevices().empty());
    EXPECT_EQ(link.soleCabledUDID(), std::nullopt);
    EXPECT_FALSE(link.devicePresent("tablet"));
    EXPECT_FALSE(link.appIsListening("tablet", 5555, 5s));
    EXPECT_EQ(link.connect("tablet", 5555, 5s), std::nullopt);
    EXPECT_LT(mux.connect(1, 5555).result, 0);
}

TEST_F(UsbMuxTest, WithoutDevicesTheListIsEmpty) {
    startServer();
    EXPECT_TRUE(link.listDevices().empty());
    EXPECT_FALSE(link.devicePresent("tablet"));
}

TEST_F(UsbMuxTest, TwoDevicesOneOfThemCabled) {
    startServer();
    addDevice("wireless", kNetwork);
    addDevice("tablet");
    const auto devices = link.listDevices();
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].udid, "wireless");
    EXPECT_EQ(devices[0].connectionType, 2);
    EXPECT_EQ(devices[1], (USBLink::USBDevice{"tablet", 0x12ab, 1}));
    EXPECT_EQ(link.soleCabledUDID(), "tablet");
    EXPECT_TRUE(link.devicePresent("tablet"));
    EXPECT_FALSE(link.devicePresent("wireless"));
    EXPECT_FALSE(link.devicePresent("other"));
}

TEST_F(UsbMuxTest, OfTwoCabledDevicesNoneIsTheSoleOne) {
    startServer();
    addDevice("one");
    addDevice("two");
    EXPECT_EQ(link.listDevices().size(), 2u);
    EXPECT_EQ(link.soleCabledUDID(), std::nullopt);
}

TEST_F(UsbMuxTest, DevicesComeAndGo) {
    startServer();
    addDevice("one");
    EXPECT_EQ(link.soleCabledUDID(), "one");
    addDevice("two");
    server->removeDevice("one");
    EXPECT_EQ(link.soleCabledUDID(), "two");
    server->removeDevice("two");
    EXPECT_TRUE(link.listDevices().empty());
}

TEST_F(UsbMuxTest, IdentifiersAreKeptToTheFieldOfTheLibrary) {
    startServer();
    const std::string longest(43, 'x');
    addDevice(longest + "&<");
    addDevice("00008027001122334455002E");
    const auto devices = link.listDevices();
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_LE(devices[0].udid.size(), 44u);
    EXPECT_TRUE(devices[0].udid.starts_with(longest));
    EXPECT_EQ(devices[1].udid, "00008027-001122334455002E");
    // Asked for in either form.
    EXPECT_TRUE(link.devicePresent("00008027-001122334455002E"));
    EXPECT_TRUE(link.devicePresent("00008027001122334455002E"));
}

TEST_F(UsbMuxTest, ConnectsToTheApp) {
    startServer();
    TestApp app;
    addDevice("tablet", UsbmuxServer::Connection::cable, app.onConnect("Tablet 2 2048x1536\n"));
    const auto greeted = link.connect("tablet", 5555, 5s);
    ASSERT_TRUE(greeted);
    const int fd = greeted->descriptor;
    const Descriptor host(fd);
    const Descriptor device = app.connection();
    EXPECT_EQ(link.lastGreeting(), "Tablet 2 2048x1536");
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC) << "programs that the host starts would inherit it";

    test::sendText(fd, "to the device");
    EXPECT_EQ(test::receivedText(device.get(), 13), "to the device");
    test::sendText(device.get(), "to the host");
    EXPECT_EQ(test::receivedText(fd, 11), "to the host");

    sockets.shutdown(fd);
    EXPECT_TRUE(test::endsSoon(device.get()));
}

TEST_F(UsbMuxTest, TheDeviceEndsTheConnectionByShutdown) {
    startServer();
    TestApp app;
    addDevice("tablet", UsbmuxServer::Connection::cable, app.onConnect("Tablet\n"));
    const Descriptor host(link.connect("tablet", 5555));
    {
        const Descriptor device = app.connection();
        sockets.shutdown(device.get());
    }
    EXPECT_TRUE(test::endsSoon(host.get()));
}

TEST_F(UsbMuxTest, ARefusalSaysTheAnswerOfTheService) {
    startServer();
    addDevice("tablet");
    try {
        link.connect("tablet", 5555);
        FAIL();
    } catch (const USBLinkError& error) {
        EXPECT_EQ(error.kind(), USBLinkError::Case::connect);
        EXPECT_TRUE(
            std::string(error.what()).starts_with("usbmux connect failed: usbmuxd_connect returned -"))
            << error.what();
    }
    EXPECT_EQ(link.connect("tablet", 5555, 5s), std::nullopt);
    EXPECT_FALSE(link.appIsListening("tablet", 5555, 5s));
    EXPECT_THROW(link.connect("other", 5555), USBLinkError);
}

TEST_F(UsbMuxTest, AServerThatRefusesEverything) {
    startServer();
    TestApp app;
    addDevice("tablet", UsbmuxServer::Connection::cable, app.onConnect("Tablet\n"));
    server->setFault(Fault::refuseConnect);
    EXPECT_FALSE(link.appIsListening("tablet", 5555, 5s));
    server->setFault(Fault::none);
    EXPECT_TRUE(link.appIsListening("tablet", 5555, 5s));
    EXPECT_TRUE(test::endsSoon(app.connection().get()));
}

TEST_F(UsbMuxTest, AnUnknownHandleIsRefused) {
    startServer();
    EXPECT_LT(mux.connect(77, 5555).result, 0);
}

TEST_F(UsbMuxTest, AServerThatHangsOnListCostsTheDeadline) {
    startServer();
    addDevice("tablet");
    server->setFault(Fault::hangOnList);
    EXPECT_FALSE(link.appIsListening("tablet", 5555, 50ms));
    EXPECT_EQ(link.connect("tablet", 5555, 50ms), std::nullopt);
}

TEST_F(UsbMuxTest, AServerThatHangsOnConnectCostsTheDeadline) {
    startServer();
    addDevice("tablet", UsbmuxServer::Connection::cable, [](int) { FAIL(); });
    server->setFault(Fault::hangOnConnect);
    EXPECT_FALSE(link.appIsListening("tablet", 5555, 50ms));
    EXPECT_EQ(link.connect("tablet", 5555, 50ms), std::nullopt);
}

TEST_F(UsbMuxTest, CallersDoNotPileUpBehindAServerThatHangs) {
    startServer();
    addDevice("tablet");
    server->setFault(Fault::hangOnList);
    LibUsbMux impatient(50ms);
    std::vector<std::future<bool>> answers;
    for (int i = 0; i < 8; ++i) {
        answers.push_back(std::async(std::launch::async, [&] { return impatient.devices().empty(); }));
    }
    // All but the one that hangs come back.
    const auto back = [&] {
        return std::count_if(answers.begin(), answers.end(), [](auto& answer) {
            return answer.wait_for(100ms) == std::future_status::ready;
        });
    };
    for (int i = 0; i < 20 && back() < 7; ++i) continue;
    EXPECT_EQ(back(), 7);
    EXPECT_FALSE(impatient.deviceByUdid("tablet"));
    EXPECT_EQ(impatient.connect(1, 5555).error, ETIMEDOUT);
    server.reset();
    for (auto& answer : answers) EXPECT_TRUE(answer.get());
}

/// Reads messages until the link ends, as the session does.
std::string endOfStream(Sockets& sockets, int fd) {
    MessageReader reader(sockets, fd);
    try {
        for (;;) reader.next();
    } catch (const USBLinkError& error) {
        return error.what();
    }
}

class UsbMuxEndTest : public UsbMuxTest {
  protected:
    void connect() {
        startServer();
        addDevice("tablet", UsbmuxServer::Connection::cable, app.onConnect("Tablet\n"));
        host = Descriptor(link.connect("tablet", 5555));
        device = app.connection();
        // Half a message, so that the reader is in the middle of it.
        test::sendText(device.get(), std::string_view("\x0C\0\0\0\x09", 5));
    }
    std::future<std::string> startReading() {
        return std::async(std::launch::async, [this] { return endOfStream(sockets, host.get()); });
    }

    TestApp app;
    Descriptor host;
    Descriptor device;
};

TEST_F(UsbMuxEndTest, TheServerVanishesInTheMiddleOfAMessage) {
    connect();
    auto end = startReading();
    server.reset();
    EXPECT_TRUE(end.get().starts_with("usbmux connect failed: recv() errno "));
    EXPECT_TRUE(test::endsSoon(device.get()));
    EXPECT_EQ(sockets.send(host.get(), viewOf("x")), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_TRUE(link.listDevices().empty());
}

TEST_F(UsbMuxEndTest, TheCableIsPulledInTheMiddleOfAMessage) {
    connect();
    auto end = startReading();
    server->removeDevice("tablet");
    EXPECT_TRUE(end.get().starts_with("usbmux connect failed: recv() errno "));
    EXPECT_TRUE(test::endsSoon(device.get()));
    EXPECT_FALSE(link.devicePresent("tablet"));
}

TEST_F(UsbMuxEndTest, TheHostShutsDownAReaderThatWaits) {
    connect();
    auto end = startReading();
    sockets.shutdown(host.get());
    EXPECT_TRUE(end.get().starts_with("usbmux connect failed: recv() errno "));
}

TEST_F(UsbMuxTest, TheServerComesBack) {
    startServer();
    addDevice("tablet");
    EXPECT_TRUE(link.devicePresent("tablet"));
    server.reset();
    EXPECT_FALSE(link.devicePresent("tablet"));
    startServer();
    addDevice("tablet");
    EXPECT_TRUE(link.devicePresent("tablet"));
}

TEST_F(UsbMuxTest, ManyCallersTakeTurns) {
    startServer();
    addDevice("tablet");
    std::vector<std::future<bool>> answers;
    for (int i = 0; i < 16; ++i) {
        answers.push_back(std::async(std::launch::async, [this] { return link.devicePresent("tablet"); }));
    }
    for (auto& answer : answers) EXPECT_TRUE(answer.get());
}

}  // namespace
}  // namespace quillon
