#include <gtest/gtest.h>
#include <sys/socket.h>

#include "app/device_list_mode.hpp"
#include "app/discovery_mode.hpp"
#include "app/display_list_mode.hpp"
#include "platform/simulated/platform.hpp"

namespace quillon {
namespace {

class ListsTest : public testing::Test {
  protected:
    std::string devices() {
        USBLink link(platform_.threads(), platform_.sockets(), platform_.usbMux());
        testing::internal::CaptureStdout();
        printDevices(link);
        return testing::internal::GetCapturedStdout();
    }
    std::string displays() {
        testing::internal::CaptureStdout();
        printDisplays(platform_.displays());
        return testing::internal::GetCapturedStdout();
    }

    std::string endpoints(void (*print)(WiFiDiscovery&)) {
        WiFiDiscovery discovery(platform_.mainLoop(), platform_.serviceBrowser());
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        print(discovery);
        testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }
    void announce(const std::string& name, const std::string& host, const std::string& model,
                  Duration resolvedAfter) {
        ServiceBrowser::Service service{name, 5555, {{AF_INET, host}}, {}};
        service.txt["model"] = Bytes(model.begin(), model.end());
        platform_.services.services.push_back({std::move(service), 10ms, resolvedAfter});
    }

    simulated::SimulatedPlatform platform_;
};

TEST_F(ListsTest, NoDevicesLeaveTheHeading) {
    EXPECT_EQ(devices(), "[devices] usbmuxd:\n");
}

TEST_F(ListsTest, DevicesAreListedInTheirOrder) {
    platform_.usb.attached = {{{7, "00008027-000A", 0x12ab, 1}, {}}, {{3, "ff", 4779, 2}, {}}};
    EXPECT_EQ(devices(),
              "[devices] usbmuxd:\n"
              "  00008027-000A  product=4779  conn=1\n"
              "  ff  product=4779  conn=2\n");
}

TEST_F(ListsTest, DisplaysAreListedWithEverythingKnown) {
    platform_.screens.all = {
        {66, {0, 0, 1920, 1080}, {4268, 16627}, {}, DisplayMode{1920, 1080, 1920, 1080, 1}, {true, 0}},
        {67, {-1024, 0, 1024, 768}, {1452, 4096}, {}, DisplayMode{1024, 768, 2048, 1536, 2}, {true, 66}},
        {68, {1920, 0, 0, 0}, {}, {}, {}, {}},
    };
    EXPECT_EQ(displays(),
              "66  mode=1920x1080  pixels=1920x1080  bounds=0,0 1920x1080  scale=1  vendor=4268  model=16627"
              "  mirror=source  main\n"
              "67  mode=1024x768  pixels=2048x1536  bounds=-1024,0 1024x768  scale=2  vendor=1452  model=4096"
              "  mirror=of 66\n"
              "68  mode=0x0  pixels=0x0  bounds=1920,0 0x0  scale=0  vendor=0  model=0  mirror=no\n");
}

TEST_F(ListsTest, NoDisplayIsSaidInWords) {
    platform_.screens.all.clear();
    EXPECT_EQ(displays(), "No active display: no display server can be reached, or it shows nothing.\n");
}

TEST_F(ListsTest, NothingDiscoveredIsSaid) {
    EXPECT_EQ(endpoints(printFirstEndpoint),
              "[discover] browsing for _paravane._tcp. for 5s\n"
              "[discover] nothing found\n");
    EXPECT_EQ(endpoints(printAllEndpoints), "[discover-all] 0: \n");
}

TEST_F(ListsTest, TheFirstDiscoveredOrAllAreOnOneLine) {
    announce("late", "192.168.1.31", "Tablet13,8", 500ms);
    announce("one\n\x1b[2J", "192.168.1.30", "", 100ms);
    EXPECT_EQ(endpoints(printFirstEndpoint),
              "[discover] browsing for _paravane._tcp. for 5s\n"
              "[discover] FOUND one\\x0a\\x1b[2J at 192.168.1.30:5555\n");
    EXPECT_EQ(endpoints(printAllEndpoints),
              "[discover-all] 2: 192.168.1.30 5555 one\\x0a\\x1b[2J, 192.168.1.31 5555 late Tablet13,8\n");
}

}  // namespace
}  // namespace quillon
