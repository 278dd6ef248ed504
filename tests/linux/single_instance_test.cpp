#include "platform/linux/single_instance.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <system_error>

namespace quillon {
namespace {

class SingleInstanceTest : public ::testing::Test {
  protected:
    SingleInstanceTest() {
        std::string pattern = ::testing::TempDir() + "quillon-instance-XXXXXX";
        folder = mkdtemp(pattern.data());
    }
    ~SingleInstanceTest() override { std::filesystem::remove_all(folder); }

    std::filesystem::path folder;
    LinuxRunLoop loop;
};

TEST_F(SingleInstanceTest, OnlyTheFirstOneGetsIt) {
    const auto first = SingleInstance::claim(loop, folder / "q");
    ASSERT_TRUE(first);
    int reopened = 0;
    first->setOnReopened([&] { ++reopened; });
    EXPECT_FALSE(SingleInstance::claim(loop, folder / "q"));
    EXPECT_EQ(reopened, 0);  // from the loop, not before
    loop.runReady();
    EXPECT_EQ(reopened, 1);
    EXPECT_FALSE(SingleInstance::claim(loop, folder / "q"));
    loop.runReady();
    EXPECT_EQ(reopened, 2);
}

TEST_F(SingleInstanceTest, AStartBeforeAnybodyListensIsRemembered) {
    const auto first = SingleInstance::claim(loop, folder / "q");
    EXPECT_FALSE(SingleInstance::claim(loop, folder / "q"));
    loop.runReady();
    int reopened = 0;
    first->setOnReopened([&] { ++reopened; });
    EXPECT_EQ(reopened, 1);
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
