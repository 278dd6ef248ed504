#include <fstream>
#include <sstream>

#include "tests/shell/desk.hpp"
#include "tests/shell/notifier_host.hpp"
#include "tests/shell/toolkit.hpp"

// The application as people have it, in a panel of the StatusNotifier kind, down to the stored settings.

namespace quillon::testing {
namespace {

class WholeApplicationTest : public Desk {
  protected:
    void SetUp() override {
        Desk::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        host = std::make_unique<NotifierHost>(busAddress());
    }

    std::string contentOf(const std::string& name) const {
        std::ifstream file(path(name));
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    ::testing::AssertionResult registers(size_t times) {
        if (eventually([&] { return host->items().size() >= times; })) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "no item came\n" << probe().output();
    }

    /// Opens the menu anew and clicks an item in it.
    void choose(const std::string& label) {
        const auto menu = host->openMenu();
        const auto* const entry = find(menu, QString::fromStdString(label));
        ASSERT_NE(entry, nullptr) << label;
        host->chooseEntry(entry->id);
    }

    ::testing::AssertionResult stores(const std::string& line) {
        if (eventually(
                [&] { return contentOf("config/Quillon/settings.ini").find(line) != std::string::npos; })) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "no " << line << " in\n"
                                             << contentOf("config/Quillon/settings.ini") << probe().output();
    }

    void startWithMenu() {
        std::filesystem::create_directories(path("config/Quillon"));
        std::ofstream(path("config/Quillon/settings.ini"))
            << "[Settings]\npopoverUI=false\nautoStart=false\n";
        startApplication();
        ASSERT_TRUE(registers(1));
    }

    std::unique_ptr<NotifierHost> host;
};

TEST_F(WholeApplicationTest, EachChoiceOfTheMenuReachesTheStore) {
    startWithMenu();
    choose("Mirror Main Display");
    EXPECT_TRUE(stores("mirror=true"));
    choose("Extend Display");
    EXPECT_TRUE(stores("mirror=false"));
    choose("Balanced — 75% raster");
    EXPECT_TRUE(stores("quality.usb=balanced"));
    choose("Fill — crop to the panel, loses edges");
    EXPECT_TRUE(stores("scaling=fill"));
    choose("Smooth — +~100 ms, less jerk");
    EXPECT_TRUE(stores("smooth.usb=3"));
    choose("USB (cable)");
    EXPECT_TRUE(stores("transport=usb"));
    choose("Left");
    EXPECT_TRUE(stores("position=left"));
    choose("Connect on Launch");
    EXPECT_TRUE(stores("autoStart=true"));
    choose("Prevent Display from Sleep");
    EXPECT_TRUE(stores("preventSleep=true"));
    choose("Overlay on iPad");
    EXPECT_TRUE(stores("showOverlay=false"));
    choose("Quit Quillon");
    EXPECT_EQ(probe().waitForEnd(), 0) << probe().output();
}

TEST_F(WholeApplicationTest, LaunchAtLoginWritesAnEntryForThisBundle) {
    startWithMenu();
    choose("Launch at Login");
    const auto entry = path("config/autostart/quillon.desktop");
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(entry); }));
    EXPECT_NE(contentOf("config/autostart/quillon.desktop").find(path("Quillon.app/QuillonHost").string()),
              std::string::npos);
    choose("Launch at Login");
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(entry); }));
}

TEST_F(WholeApplicationTest, TheFrontEndsChangeOver) {
    startWithMenu();
    choose("Popover menu");
    EXPECT_TRUE(stores("popoverUI=true"));
    ASSERT_TRUE(registers(2));
    EXPECT_TRUE(says("[Quillon] menu: popover front end"));
}

TEST_F(WholeApplicationTest, ASecondStartEndsAtOnce) {
    startWithMenu();
    ChildProcess second(applicationCommand(), environment);
    EXPECT_EQ(second.waitForEnd(), 0) << second.output();
    EXPECT_FALSE(probe().waitForEnd(std::chrono::milliseconds(0)));
}

}  // namespace
}  // namespace quillon::testing
