#include "platform/linux/single_instance.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "tests/support/temporary_folder.hpp"

namespace quillon {
namespace {

class SingleInstanceTest : public ::testing::Test {
  protected:
    /// Starts once more, elsewhere, while the first one's loop runs. Whether that became the first.
    bool startedOnceMoreIsFirst() {
        bool isFirst = false;
        std::thread other([&] {
            LinuxRunLoop own;
            isFirst = SingleInstance::claim(own, folder / "q") != nullptr;
            loop.post([&] { loop.stop(); });
        });
        loop.run();
        other.join();
        return isFirst;
    }

    test::TemporaryFolder folder;
    LinuxRunLoop loop;
};

/// A first one that holds lock and socket and runs no loop: one that hangs, or is about to end.
class SilentFirst {
  public:
    explicit SilentFirst(const std::filesystem::path& folder) {
        std::filesystem::create_directory(folder);
        lock_ = Descriptor(open((folder / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(flock(lock_.get(), LOCK_EX), 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (folder / "socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_.get(), 1), 0);
    }
    /// Waits until somebody asks.
    void waitForVisitor() {
        pollfd visitor{listener_.get(), POLLIN, 0};
        EXPECT_EQ(poll(&visitor, 1, 10'000), 1);
    }

  private:
    Descriptor lock_;
    const Descriptor listener_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

TEST_F(SingleInstanceTest, OnlyTheFirstOneGetsIt) {
    const auto first = SingleInstance::claim(loop, folder / "q");
    ASSERT_TRUE(first);
    int reopened = 0;
    first->setOnReopened([&] { ++reopened; });
    EXPECT_FALSE(startedOnceMoreIsFirst());
    EXPECT_EQ(reopened, 1);
    EXPECT_FALSE(startedOnceMoreIsFirst());
    EXPECT_EQ(reopened, 2);
}

TEST_F(SingleInstanceTest, AStartBeforeAnybodyListensIsRemembered) {
    const auto first = SingleInstance::claim(loop, folder / "q");
    EXPECT_FALSE(startedOnceMoreIsFirst());
    int reopened = 0;
    first->setOnReopened([&] { ++reopened; });
    EXPECT_EQ(reopened, 1);
}

TEST_F(SingleInstanceTest, AStartWhileTheFirstEndsBecomesTheFirst) {
    auto ending = std::make_unique<SilentFirst>(folder / "q");
    std::thread end([&] {
        ending->waitForVisitor();
        ending.reset();
    });
    const auto next = SingleInstance::claim(loop, folder / "q");
    end.join();
    ASSERT_TRUE(next);
    EXPECT_FALSE(startedOnceMoreIsFirst());
}

TEST_F(SingleInstanceTest, AFirstThatHangsIsLeftAlone) {
    const SilentFirst hanging(folder / "q");
    EXPECT_FALSE(SingleInstance::claim(loop, folder / "q"));
}

TEST_F(SingleInstanceTest, IsFreeAgainAfterwards) {
    { const auto first = SingleInstance::claim(loop, folder / "q"); }
    EXPECT_TRUE(SingleInstance::claim(loop, folder / "q"));
}

TEST_F(SingleInstanceTest, AKilledOneIsInNobodysWay) {
    const pid_t child = fork();
    if (child == 0) {
        LinuxRunLoop own;
        const auto held = SingleInstance::claim(own, folder / "q");
        raise(SIGKILL);
    }
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(std::filesystem::exists(folder / "q" / "socket"));
    EXPECT_TRUE(SingleInstance::claim(loop, folder / "q"));
}

TEST_F(SingleInstanceTest, AHolderThatNeverListensIsLeftAlone) {
    std::filesystem::create_directory(folder / "q");
    const int lock = open((folder / "q" / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    EXPECT_FALSE(SingleInstance::claim(loop, folder / "q"));
    close(lock);
}

TEST_F(SingleInstanceTest, OnlyTheUserMayAsk) {
    const auto first = SingleInstance::claim(loop, folder / "q");
    const auto rights = std::filesystem::status(folder / "q").permissions();
    EXPECT_EQ(rights, std::filesystem::perms::owner_all);
}

TEST_F(SingleInstanceTest, AFolderThatCannotBeUsedIsAnError) {
    std::ofstream(folder / "q") << "a file where the folder should be";
    EXPECT_THROW(SingleInstance::claim(loop, folder / "q"), std::system_error);
    const std::string tooLong(120, 'x');
    EXPECT_THROW(SingleInstance::claim(loop, folder / tooLong), std::system_error);
}

}  // namespace
}  // namespace quillon
