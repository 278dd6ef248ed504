#include <gtest/gtest.h>

#include "platform/macos/capture.hpp"
#include "platform/macos/displays.hpp"
#include "platform/macos/pointer.hpp"
#include "platform/macos/service_browser.hpp"
#include "platform/macos/text.hpp"
#include "platform/macos/virtual_displays.hpp"

namespace quillon {
namespace {

TEST(SystemTextTest, RepairsBytesThatAreNotText) {
    EXPECT_EQ(plainText(systemText("Wohnzimmer – é")), "Wohnzimmer – é");
    EXPECT_EQ(plainText(systemText("\xff")), "\xEF\xBF\xBD");
    EXPECT_EQ(plainText(nil), "");
}

TEST(PointerTest, HasAPlace) {
    EXPECT_TRUE(MacPointer().location());
}

TEST(VirtualDisplayTest, StandsAmongTheDisplaysAndGoesWithItsObject) {
    VirtualDisplayRequest request;
    request.name = "Conformance";
    request.modes = {{2048, 1536}, {1024, 768}};
    request.maxPixels = {4096, 4096};
    auto display = MacVirtualDisplays().create(request);
    if (!display) GTEST_SKIP() << "this system makes no virtual displays";
    const DisplayID id = display->id();
    ASSERT_NE(id, 0U);
    EXPECT_EQ(MacDisplays().identity(id), (Displays::Identity{1452, 4096}));
    EXPECT_FALSE(MacDisplays().modes(id).empty());
}

TEST(CaptureTest, ListsDisplaysOrSaysWhyNot) {
    try {
        for (const auto& display : MacCapture().shareableDisplays()) EXPECT_GT(display.size.width, 0);
    } catch (const CaptureFailure& failure) {
        EXPECT_STRNE(failure.what(), "");
    }
}

TEST(ServiceBrowserTest, ASearchEndsWithItsSlice) {
    MacServiceBrowser browser;
    ServiceBrowser::Callbacks callbacks;
    callbacks.onFound = [](const std::string& name) { ADD_FAILURE() << name; };
    callbacks.onResolved = [](const ServiceBrowser::Service&) {};
    callbacks.onNotResolved = [](const std::string&, const std::string&) {};
    callbacks.onNotSearching = [](const std::string&) {};
    const auto search = browser.search("_quillon-nobody._tcp.", "local.", callbacks);
    search->run(100ms);
    search->resolve("nobody", 1s);
    search->run(100ms);
}

}  // namespace
}  // namespace quillon
