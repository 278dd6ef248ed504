#include <gmock/gmock.h>

#include <QDBusArgument>

#include "tests/shell/desk.hpp"
#include "tests/shell/notifier_host.hpp"
#include "tests/shell/toolkit.hpp"

// The shell in a panel of the StatusNotifier kind: everything goes over D-Bus.

namespace quillon::testing {
namespace {

using ::testing::ElementsAre;

class NotifierTest : public Desk {
  protected:
    void SetUp() override {
        Desk::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        host = std::make_unique<NotifierHost>(busAddress());
    }

    ::testing::AssertionResult registers(size_t times = 1) {
        if (eventually([&] { return host->items().size() >= times; })) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "no item came\n" << probe().output();
    }

    std::unique_ptr<NotifierHost> host;
};

std::vector<std::string> labelsOf(const NotifierHost::Entry& menu) {
    std::vector<std::string> labels;
    for (const auto& entry : menu.children) labels.push_back(entry.label().toStdString());
    return labels;
}

TEST_F(NotifierTest, TheItemTellsWhatItIs) {
    startProbe({});
    ASSERT_TRUE(registers());
    // Icon name, pictures, title, text.
    const auto toolTip = host->property(QStringLiteral("ToolTip")).value<QDBusArgument>();
    QString iconName;
    QString title;
    toolTip.beginStructure();
    toolTip >> iconName;
    toolTip.beginArray();
    while (!toolTip.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        toolTip.beginStructure();
        toolTip >> width >> height >> pixels;
        toolTip.endStructure();
    }
    toolTip.endArray();
    toolTip >> title;
    toolTip.endStructure();
    EXPECT_EQ(title.toStdString(), "Quillon — usb");

    const auto pictures = host->property(QStringLiteral("IconPixmap")).value<QDBusArgument>();
    int largest = 0;
    pictures.beginArray();
    while (!pictures.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        pictures.beginStructure();
        pictures >> width >> height >> pixels;
        pictures.endStructure();
        EXPECT_EQ(pixels.size(), width * height * 4);
        EXPECT_GT(pixels.count('\0'), 0);
        EXPECT_LT(pixels.count('\0'), pixels.size());
        largest = std::max(largest, width);
    }
    pictures.endArray();
    EXPECT_GE(largest, 44);
}

TEST_F(NotifierTest, ActivatingTheItemShowsThePanel) {
    startProbe({});
    ASSERT_TRUE(registers());
    host->activate();
    ASSERT_TRUE(says("clicked"));
    ASSERT_TRUE(says("all controls"));
    host->activate();
    ASSERT_TRUE(says("panel closed"));
}

TEST_F(NotifierTest, APanelThatOnlyOpensMenusFindsTheClickInTheMenu) {
    startProbe({});
    ASSERT_TRUE(registers());
    const auto menu = host->openMenu();
    ASSERT_THAT(labelsOf(menu), ElementsAre("Open Quillon"));
    host->chooseEntry(menu.children.front().id);
    ASSERT_TRUE(says("clicked"));
    ASSERT_TRUE(says("all controls"));
}

TEST_F(NotifierTest, APressOutsideThatIsTheClickOnTheItemClosesThePanelForGood) {
    startProbe({});
    ASSERT_TRUE(registers());
    host->activate();
    ASSERT_TRUE(says("active"));
    // The panel of the desktop is another program's window; its report follows the press.
    click(kNowhere);
    ASSERT_TRUE(says("panel closed"));
    host->activate();
    EXPECT_EQ(count("clicked"), 1) << probe().output();
}

TEST_F(NotifierTest, TheMenuTravelsWithAllItHas) {
    startProbe({"--menu", "--device", "Studio_tablet & Co"});
    ASSERT_TRUE(registers());
    const auto menu = host->openMenu();
    ASSERT_TRUE(says("menu opens"));
    EXPECT_THAT(labelsOf(menu),
                ElementsAre("Quillon — Streaming over USB", "", "Extend Display", "Mirror Main Display", "",
                            "Device — Automatic", "", "Stop Streaming", "", "Quit Quillon"));
    const auto& header = menu.children[0].properties;
    EXPECT_EQ(header.value(QStringLiteral("enabled"), true).toBool(), false);
    EXPECT_EQ(menu.children[1].properties.value(QStringLiteral("type")).toString().toStdString(),
              "separator");
    const auto& extend = menu.children[2].properties;
    EXPECT_EQ(extend.value(QStringLiteral("toggle-type")).toString().toStdString(), "checkmark");
    EXPECT_EQ(extend.value(QStringLiteral("toggle-state")).toInt(), 1);
    EXPECT_NE(menu.children[3].properties.value(QStringLiteral("toggle-state")).toInt(), 1);
    EXPECT_TRUE(menu.children[3].properties.contains(QStringLiteral("shortcut")));
    const auto& device = menu.children[5];
    // An underscore is written twice; a letter that nobody sees takes the mark that "&" would set.
    EXPECT_THAT(labelsOf(device), ElementsAre("Automatic", "_\u200bStudio__tablet & Co", "", "Scan Again"));
    host->closeMenu();
    EXPECT_TRUE(says("menu closed"));
}

TEST_F(NotifierTest, EachItemReportsItself) {
    startProbe({"--menu"});
    ASSERT_TRUE(registers());
    const auto menu = host->openMenu();
    host->chooseEntry(menu.children[2].id);
    EXPECT_TRUE(says("chosen extend [-] Extend Display"));
    host->chooseEntry(menu.children[3].id);
    EXPECT_TRUE(says("chosen mirror [-] Mirror Main Display"));
    host->chooseEntry(menu.children[5].children[1].id);
    EXPECT_TRUE(says("chosen device [tablet-1|] Studio tablet"));
    host->chooseEntry(menu.children[7].id);
    EXPECT_TRUE(says("chosen stop [-] Stop Streaming"));
    // The next menu tells of the new state, with the same items.
    const auto next = host->openMenu();
    EXPECT_EQ(next.children[0].label().toStdString(), "Quillon — Stopped");
    EXPECT_EQ(next.children[3].id, menu.children[3].id);
    // Still checked: a click changes nothing by itself.
    EXPECT_EQ(next.children[2].properties.value(QStringLiteral("toggle-state")).toInt(), 1);
    host->chooseEntry(next.children[9].id);
    EXPECT_TRUE(says("terminating"));
    EXPECT_EQ(probe().waitForEnd(), 0);
}

TEST_F(NotifierTest, AnItemMayBeReplacedByItsOwnAction) {
    startProbe({"--menu"});
    ASSERT_TRUE(registers());
    host->chooseEntry(find(host->openMenu(), QStringLiteral("Scan Again"))->id);
    ASSERT_TRUE(says("item replaced"));
    ASSERT_TRUE(registers(2));
    host->chooseEntry(find(host->openMenu(), QStringLiteral("Quit Quillon"))->id);
    EXPECT_EQ(probe().waitForEnd(), 0);
}

TEST_F(NotifierTest, WaitsForAPanelThatComesLater) {
    host.reset();
    startProbe({});
    ASSERT_TRUE(says("timer fired"));
    host = std::make_unique<NotifierHost>(busAddress());
    ASSERT_TRUE(registers());
    host->activate();
    EXPECT_TRUE(says("clicked"));
}

TEST_F(NotifierTest, WaitsForAPanelThatComesAfterItsWatcher) {
    host->setHasPanel(false);
    startProbe({});
    ASSERT_TRUE(says("no status area"));
    EXPECT_TRUE(host->items().empty());
    host->setHasPanel(true);
    ASSERT_TRUE(registers());
}

TEST_F(NotifierTest, ComesBackWhenThePanelIsStartedAnew) {
    startProbe({});
    ASSERT_TRUE(registers());
    host.reset();
    host = std::make_unique<NotifierHost>(busAddress());
    ASSERT_TRUE(registers());
    host->activate();
    EXPECT_TRUE(says("clicked"));
}

}  // namespace
}  // namespace quillon::testing
