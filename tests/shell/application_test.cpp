#include <csignal>
#include <fstream>

#include "tests/shell/desk.hpp"
#include "tests/shell/toolkit.hpp"

// The application as a whole: its loop, its end, its second start, dialogs, and what opens files.

namespace quillon::testing {
namespace {

class ApplicationTest : public Desk {
  protected:
    static std::string textOf(const std::filesystem::path& file) {
        std::ifstream input(file);
        return {std::istreambuf_iterator<char>(input), {}};
    }
};

TEST_F(ApplicationTest, TheProgramsLoopRunsInsideTheToolkits) {
    startProbe({});
    EXPECT_TRUE(says("launched"));
    EXPECT_TRUE(says("posted work ran"));
    EXPECT_TRUE(says("timer fired"));
}

TEST_F(ApplicationTest, SignalsEndItInOrder) {
    for (const int signal : {SIGTERM, SIGINT}) {
        startProbe({});
        ASSERT_TRUE(says("timer fired"));
        probe().signal(signal);
        EXPECT_EQ(probe().waitForEnd(), 0);
        EXPECT_EQ(count("terminating"), 1) << probe().output();
        EXPECT_EQ(count("ended"), 1);
    }
}

TEST_F(ApplicationTest, WithoutAnyTrayThePanelIsAWindowAndSaysSoOnce) {
    // Another one, earlier, that the desktop itself has started: it is more patient.
    auto atLogin = environment;
    atLogin["XDG_RUNTIME_DIR"] = path("login");
    std::filesystem::create_directory(path("login"));
    ChildProcess patient({QUILLON_SHELL_PROBE, "--at-login"}, atLogin);
    ASSERT_TRUE(patient.printed("launched"));

    startProbe({"--notice"});
    ASSERT_TRUE(says("no status area"));
    EXPECT_FALSE(patient.printed("no status area", std::chrono::milliseconds(0)));
    EXPECT_EQ(count("status area came"), 0);
    ASSERT_TRUE(says("all controls"));
    ASSERT_TRUE(says("active"));
    press("Escape");
    ASSERT_TRUE(says("panel closed"));
    // A tray that comes later gets the icon all the same.
    patient.signal(SIGTERM);
    ASSERT_TRUE(patient.waitForEnd());
    startTray();
    EXPECT_TRUE(says("status area came"));
    EXPECT_TRUE(clickIconUntil("clicked"));
    EXPECT_EQ(count("no status area"), 1);
}

TEST_F(ApplicationTest, NeedsNoSessionBus) {
    environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + path("nowhere").string();
    startTray();
    startProbe({});
    openPanel();
}

TEST_F(ApplicationTest, ASecondStartBringsTheFirstForward) {
    startProbe({});
    ASSERT_TRUE(says("launched"));
    ChildProcess second({QUILLON_SHELL_PROBE}, environment);
    EXPECT_EQ(second.waitForEnd(), 0);
    EXPECT_EQ(second.output(), "runs already\n");
    EXPECT_TRUE(says("reopened"));
    EXPECT_TRUE(says("all controls"));
}

TEST_F(ApplicationTest, AKilledOneIsInNobodysWay) {
    startProbe({});
    ASSERT_TRUE(says("launched"));
    probe().signal(SIGKILL);
    ASSERT_TRUE(probe().waitForEnd());
    startProbe({});
    EXPECT_TRUE(says("launched"));
}

TEST_F(ApplicationTest, TheQuestionReturnsWhatWasTyped) {
    startProbe({"--ask"});
    ASSERT_TRUE(says("focus Wi-Fi address (fallback)"));
    type("10.0.0.7");  // over the text that is selected
    press("Return");
    EXPECT_TRUE(says("answer 10.0.0.7"));
}

TEST_F(ApplicationTest, EscapeAnswersTheQuestionWithNothing) {
    startProbe({"--ask"});
    ASSERT_TRUE(says("focus Wi-Fi address (fallback)"));
    press("Escape");
    EXPECT_TRUE(says("answer -"));
}

TEST_F(ApplicationTest, TheLogIsOpenedByTheDesktopsProgram) {
    // How the shell does its work is no matter of the program that opens.
    const std::string note = path("opened").string();
    installOpener("{ echo \"$1, platform $QT_QPA_PLATFORM.\"; grep THP_enabled /proc/self/status; } >" +
                  note + ".new; mv " + note + ".new " + note);
    startTray();
    startProbe({});
    openPanel();
    const auto status = textOf("/proc/" + std::to_string(probe().pid()) + "/status");
    EXPECT_NE(status.find("\nTHP_enabled:\t0\n"), std::string::npos) << status;
    click(controls().find("Log")->second);
    ASSERT_TRUE(says("change openLog"));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(path("opened")); }));
    EXPECT_EQ(textOf(note), path("Library/Logs/Quillon.log").string() + ", platform .\nTHP_enabled:\t1\n");
}

TEST_F(ApplicationTest, AnOpenerThatFailsIsTold) {
    installOpener("exit 3");
    startTray();
    startProbe({});
    openPanel();
    click(controls().find("Log")->second);
    ASSERT_TRUE(says("[Quillon] cannot open " + path("Library/Logs/Quillon.log").string()));
    EXPECT_TRUE(
        eventually([&] { return std::system("xdotool search --name '^Quillon$' >/dev/null 2>&1") == 0; }));
}

}  // namespace
}  // namespace quillon::testing
