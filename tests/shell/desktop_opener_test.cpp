#include "platform/linux/shell/desktop_opener.hpp"

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include <cstdlib>
#include <fstream>

#include "tests/shell/toolkit.hpp"

// What becomes of a file that is to be opened, with openers as desktops have them.

namespace quillon::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class ToldMessages : public Dialogs {
  public:
    void ask(const TextQuestion&, std::function<void(std::optional<std::string>)>) override {}
    void tell(const Message& message) override { last = message; }
    std::optional<Message> last;
};

class DesktopOpenerTest : public ::testing::Test {
  protected:
    DesktopOpenerTest() {
        toolkit();
        std::string pattern = ::testing::TempDir() + "quillon-opener-XXXXXX";
        folder = mkdtemp(pattern.data());
        setenv("HOME", folder.c_str(), 1);
        path = std::getenv("PATH");
        setenv("PATH", (folder.string() + ":" + path).c_str(), 1);
    }
    ~DesktopOpenerTest() override {
        setenv("PATH", path.c_str(), 1);
        fs::remove_all(folder);
    }

    /// The desktop's opener from now on.
    void install(const std::string& script) const {
        std::ofstream(folder / "xdg-open") << script;
        fs::permissions(folder / "xdg-open", fs::perms::owner_all);
    }
    bool exists(const std::string& name) const { return fs::exists(folder / name); }

    fs::path folder;
    std::string path;
    ToldMessages told;
};

TEST_F(DesktopOpenerTest, AFailureIsToldWithThePathInIt) {
    install("#!/bin/sh\nexit 3\n");
    DesktopOpener opener(told);
    EXPECT_TRUE(opener.openFile("/tmp/a file"));
    ASSERT_TRUE(eventually([&] { return told.last.has_value(); }));
    EXPECT_EQ(told.last->message, "No program to open the file with");
    EXPECT_EQ(told.last->information, "The file is\n/tmp/a file");
}

TEST_F(DesktopOpenerTest, AnOpenerThatCannotBeStartedIsAFailureToo) {
    install("#!/nowhere/at/all\n");
    DesktopOpener opener(told);
    opener.openFile("/tmp/a file");
    EXPECT_TRUE(eventually([&] { return told.last.has_value(); }));
}

TEST_F(DesktopOpenerTest, WithoutAnOpenerItSaysSoAtOnce) {
    setenv("PATH", folder.c_str(), 1);
    DesktopOpener opener(told);
    EXPECT_FALSE(opener.openFile("/tmp/a file"));
    EXPECT_TRUE(told.last);
}

TEST_F(DesktopOpenerTest, OneThatStaysWithItsProgramHasOpenedTheFileHoweverItEnds) {
    // It fails when the test lets it, which is later than failures are believed.
    install("#!/bin/sh\ncd " + folder.string() +
            "\ntouch opened\nwhile [ ! -e closed ]; do sleep 0.01; done\nexec sh -c 'touch ended; exit 1'\n");
    DesktopOpener opener(told, 50ms);
    QElapsedTimer since;
    since.start();
    opener.openFile("/tmp/a file");
    ASSERT_TRUE(eventually([&] { return exists("opened") && since.elapsed() > 100; }));
    std::ofstream(folder / "closed") << "";
    ASSERT_TRUE(eventually([&] { return exists("ended"); }));
    // A failure of another one, which comes after it, is told.
    install("#!/bin/sh\nexit 3\n");
    DesktopOpener impatient(told);
    EXPECT_FALSE(told.last);
    impatient.openFile("/tmp/another file");
    ASSERT_TRUE(eventually([&] { return told.last.has_value(); }));
    EXPECT_EQ(told.last->information, "The file is\n/tmp/another file");
}

}  // namespace
}  // namespace quillon::testing
