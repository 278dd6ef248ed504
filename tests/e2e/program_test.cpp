// The program as a user starts it, without display server, USB service and any device.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/support/child_process.hpp"

namespace quillon::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// `words` after the program's path; `shell` says what becomes of its output.
ChildProcess program(const std::vector<std::string>& words, const std::string& shell = R"(exec "$@")") {
    std::vector<std::string> command{"sh", "-c", shell, "sh", QUILLON_HOST};
    command.insert(command.end(), words.begin(), words.end());
    return ChildProcess(command, {{"DISPLAY", std::nullopt},
                                  {"WAYLAND_DISPLAY", std::nullopt},
                                  {"USBMUXD_SOCKET_ADDRESS", "UNIX:/nonexistent"}});
}

constexpr const char* kOnlyOutput = R"(exec "$@" 2>/dev/null)";
constexpr const char* kOnlyErrors = R"(exec "$@" 2>&1 >/dev/null)";

TEST(ProgramTest, ListsNoDevices) {
    auto run = program({"--devices", "--discover"}, kOnlyOutput);
    EXPECT_EQ(run.waitForEnd(), 0);
    EXPECT_EQ(run.output(), "[devices] usbmuxd:\n");
}

TEST(ProgramTest, SaysThatThereIsNoDisplay) {
    auto run = program({"--displays"}, kOnlyOutput);
    EXPECT_EQ(run.waitForEnd(), 0);
    EXPECT_THAT(run.output(), StartsWith("No active display"));
}

TEST(ProgramTest, WithoutAServiceDaemonNothingIsDiscovered) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    auto first = program({"--discover"}, kOnlyOutput);
    auto all = program({"--discover-all", "--discover"}, kOnlyOutput);
    auto errors = program({"--discover-all"}, kOnlyErrors);
    EXPECT_EQ(first.waitForEnd(), 0);
    EXPECT_EQ(first.output(), "[discover] browsing for _paravane._tcp. for 5s\n[discover] nothing found\n");
    EXPECT_EQ(all.waitForEnd(), 0);
    EXPECT_EQ(all.output(), "[discover-all] 0: \n");
    EXPECT_EQ(errors.waitForEnd(), 0);
    EXPECT_EQ(errors.output(), "[Quillon] discover: didNotSearch Daemon not running\n");
}

TEST(ProgramTest, WithoutADisplayServerTheDisplayModesSaySo) {
    struct Case {
        const char* word;
        int status;
        const char* output;
    };
    for (const auto& [word, status, output] : {
             Case{"--probe-modes", 1, "create failed\n"},
             Case{"--hidpi-probe", 1, "create failed\n"},
             Case{"--cycle-test", 1, "initial CREATE FAILED\n"},
             Case{"--check-input", 0,
                  "[check] accessibility=true\n"
                  "[check] no pointer: no display server can be reached; moved=false\n"},
             Case{"--cleanup", 0, "[cleanup] stale Quillon displays: []\n[cleanup] remaining: []\n"},
         }) {
        auto run = program({word}, kOnlyOutput);
        EXPECT_EQ(run.waitForEnd(), status) << word;
        EXPECT_EQ(run.output(), output);
    }
}

TEST(ProgramTest, HelpAndVersion) {
    auto help = program({"--pattern", "--help"});
    EXPECT_EQ(help.waitForEnd(), 0);
    EXPECT_THAT(help.output(), StartsWith("Usage: QuillonHost"));
    auto version = program({"--version"});
    EXPECT_EQ(version.waitForEnd(), 0);
    EXPECT_THAT(version.output(), StartsWith("QuillonHost 0."));
}

TEST(ProgramTest, HelpAsAValueIsAValue) {
    auto run = program({"--udid", "--help", "--devices"}, kOnlyOutput);
    EXPECT_EQ(run.waitForEnd(), 0);
    EXPECT_EQ(run.output(), "[devices] usbmuxd:\n");
}

TEST(ProgramTest, AnInterruptEndsItAtOnceWithStatusZero) {
    for (const int number : {SIGINT, SIGTERM}) {
        auto run = program({"--pattern"}, kOnlyOutput);
        ASSERT_TRUE(run.printed("[session] Starting…"));
        run.signal(number);
        EXPECT_EQ(run.waitForEnd(), 0);
        EXPECT_THAT(run.output(), EndsWith("[host] interrupted\n"));
    }
}

TEST(ProgramTest, AReaderThatGoesAwayDoesNotKillIt) {
    auto run = program({"--pattern", "--seconds", "1"}, R"(("$@" 2>/dev/null; echo "status $?" >&2) | :)");
    EXPECT_TRUE(run.printed("status "));
    EXPECT_EQ(run.waitForEnd(), 0);
    EXPECT_EQ(run.output(), "status 0\n");
}

TEST(ProgramTest, WithSecondsItFinishesByItself) {
    const auto start = std::chrono::steady_clock::now();
    auto run = program({"--pattern", "--seconds", "1"}, kOnlyOutput);
    EXPECT_EQ(run.waitForEnd(), 0);
    EXPECT_THAT(run.output(), EndsWith("[host] finished\n"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2950));
}

}  // namespace
}  // namespace quillon::testing
