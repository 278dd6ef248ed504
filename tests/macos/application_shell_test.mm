#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/macos/application_shell.hpp"
#include "platform/macos/run_loop.hpp"

namespace quillon {
namespace {

// The system starts an application once in a process, so each of these tests needs one of its own (ctest does
// that).

/// Runs an application that does `work` when it has started, and gives how often it heard that it ends.
int endsAfter(const std::function<void(ApplicationShell&)>& work) {
    MacRunLoop loop;
    const auto shell = makeMacApplicationShell(loop);
    int ends = 0;
    ApplicationCallbacks callbacks;
    callbacks.didFinishLaunching = [&] { work(*shell); };
    callbacks.willTerminate = [&] { ++ends; };
    shell->run(std::move(callbacks));
    return ends;
}

TEST(ApplicationShellTest, ComesBackAfterItsEnd) {
    EXPECT_EQ(endsAfter([](ApplicationShell& shell) { shell.terminate(); }), 1);
}

TEST(ApplicationShellTest, EndsOnceThoughAskedTwice) {
    EXPECT_EQ(endsAfter([](ApplicationShell& shell) {
                  shell.terminate();
                  shell.terminate();
              }),
              1);
}

TEST(ApplicationShellTest, EndsWithDialogsOpenThatAnswerNobody) {
    bool isAnswered = false;
    EXPECT_EQ(endsAfter([&](ApplicationShell& shell) {
                  shell.dialogs().ask({.message = "question"},
                                      [&](const std::optional<std::string>&) { isAnswered = true; });
                  shell.dialogs().tell({.message = "message"});
                  shell.terminate();
              }),
              1);
    EXPECT_FALSE(isAnswered);
}

TEST(ApplicationShellTest, EndsBySignal) {
    EXPECT_EQ(endsAfter([](ApplicationShell&) { kill(getpid(), SIGTERM); }), 1);
}

}  // namespace
}  // namespace quillon
