// The built program, started as a user starts it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

namespace quillon {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// One run of the program without display server, USB service and any device.
class Program {
  public:
    explicit Program(std::vector<std::string> words, std::vector<std::string> settings = {}) {
        words.insert(words.begin(), QUILLON_HOST);
        settings.insert(settings.end(),
                        {"HOME=" + testing::TempDir(), "USBMUXD_SOCKET_ADDRESS=UNIX:/nonexistent"});
        int outputPipe[2];
        int errorPipe[2];
        EXPECT_EQ(pipe2(outputPipe, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(errorPipe, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, outputPipe[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errorPipe[1], STDERR_FILENO);
        EXPECT_EQ(posix_spawn(&process_, QUILLON_HOST, &actions, nullptr, pointers(words).data(),
                              pointers(settings).data()),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        close(outputPipe[1]);
        close(errorPipe[1]);
        output_ = outputPipe[0];
        errors_ = errorPipe[0];
    }
    ~Program() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        closeOutput();
        close(errors_);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    std::string output;
    std::string errors;

    /// Reads until standard output holds `text`.
    bool waitForOutput(const std::string& text) {
        return readUntil([&] { return output.find(text) != std::string::npos; });
    }
    /// Reads to the end; the exit status, or minus the signal, or -1000 when the program goes on.
    int wait() {
        if (!readUntil([] { return false; })) return -1000;
        int status = 0;
        waitpid(std::exchange(process_, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    void signal(int number) const { kill(process_, number); }
    void closeOutput() {
        if (output_ >= 0) close(std::exchange(output_, -1));
    }

  private:
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> all;
        for (std::string& text : texts) all.push_back(text.data());
        all.push_back(nullptr);
        return all;
    }

    /// True when `done`, or at the end of both streams.
    template <typename Done>
    bool readUntil(Done done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        bool outputOpen = output_ >= 0;
        bool errorsOpen = true;
        while (!done() && (outputOpen || errorsOpen)) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            pollfd both[2] = {{outputOpen ? output_ : -1, POLLIN, 0}, {errorsOpen ? errors_ : -1, POLLIN, 0}};
            poll(both, 2, 1000);
            if (both[0].revents != 0) outputOpen = readSome(output_, output);
            if (both[1].revents != 0) errorsOpen = readSome(errors_, errors);
        }
        return true;
    }
    static bool readSome(int file, std::string& text) {
        char buffer[4096];
        const ssize_t count = read(file, buffer, sizeof buffer);
        if (count > 0) text.append(buffer, static_cast<size_t>(count));
        return count > 0;
    }

    pid_t process_ = 0;
    int output_ = -1;
    int errors_ = -1;
};

TEST(ProgramTest, ListsNoDevices) {
    Program program({"--devices", "--discover"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.output, "[devices] usbmuxd:\n");
}

TEST(ProgramTest, SaysThatThereIsNoDisplay) {
    Program program({"--displays"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.output, StartsWith("No active display"));
}

TEST(ProgramTest, RefusesWhatThisBuildDoesNotOffer) {
    for (const char* word : {"--probe-modes", "--check-input", "--hidpi-probe", "--cycle-test",
                             "--discover-all", "--discover", "--cleanup", "--switch-test"}) {
        Program program({word});
        EXPECT_EQ(program.wait(), 1) << word;
        EXPECT_THAT(program.output, IsEmpty()) << word;
        EXPECT_THAT(program.errors, StartsWith("QuillonHost: this build does not offer ")) << word;
        EXPECT_THAT(program.errors, HasSubstr(std::string("(") + word + ")"));
    }
}

TEST(ProgramTest, HelpAndVersion) {
    Program help({"--pattern", "--help"});
    EXPECT_EQ(help.wait(), 0);
    EXPECT_THAT(help.output, StartsWith("Usage: QuillonHost"));
    Program version({"--version"});
    EXPECT_EQ(version.wait(), 0);
    EXPECT_THAT(version.output, StartsWith("QuillonHost 0."));
}

TEST(ProgramTest, HelpAsAValueIsAValue) {
    Program program({"--udid", "--help", "--devices"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.output, "[devices] usbmuxd:\n");
}

TEST(ProgramTest, AnInterruptEndsItAtOnceWithStatusZero) {
    for (const int number : {SIGINT, SIGTERM}) {
        Program program({"--pattern"});
        ASSERT_TRUE(program.waitForOutput("[session] Starting…\n"));
        program.signal(number);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_THAT(program.output, testing::EndsWith("[host] interrupted\n"));
    }
}

TEST(ProgramTest, AReaderThatGoesAwayDoesNotKillIt) {
    Program program({"--pattern", "--seconds", "1"});
    program.closeOutput();
    EXPECT_EQ(program.wait(), 0);
}

TEST(ProgramTest, WithSecondsItFinishesByItself) {
    Program program({"--pattern", "--seconds", "1"});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(program.wait(), 0);
    const auto lasted = std::chrono::steady_clock::now() - start;
    EXPECT_THAT(program.output, testing::EndsWith("[host] finished\n"));
    EXPECT_GE(lasted, std::chrono::seconds(3) - std::chrono::milliseconds(50));
    EXPECT_LT(lasted, std::chrono::seconds(10));
}

}  // namespace
}  // namespace quillon
