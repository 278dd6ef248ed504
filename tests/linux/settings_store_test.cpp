#include "platform/linux/settings_store.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace quillon {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Optional;

/// While one lives this process opens no file.
class NoDescriptors {
  public:
    NoDescriptors() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit_), 0);
        const rlimit none{0, limit_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &limit_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit limit_{};
};

class SettingsStoreTest : public testing::Test {
  protected:
    ~SettingsStoreTest() override {
        fs::remove_all(folder_);
        fs::remove_all(inMemory());
    }

    /// A folder whose writes are quick, where the system has such.
    fs::path inMemory() const {
        const fs::path memory = "/dev/shm";
        return fs::is_directory(memory) ? memory / folder_.filename() : folder_;
    }

    static fs::path newFolder() {
        std::string pattern = testing::TempDir() + "quillon-settings-XXXXXX";
        return mkdtemp(pattern.data());
    }
    void writeFile(const std::string& content) {
        fs::create_directories(file().parent_path());
        std::ofstream(file()) << content;
    }
    static std::string contentOf(const fs::path& path) {
        std::ifstream stream(path);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    /// Does `check` hold for a user for whom permissions count, as they do not for root? The settings and
    /// their folder are that user's then.
    template <typename Check>
    bool holdsForTheUser(Check check) {
        if (geteuid() != 0) return check();
        for (const fs::path& each : {folder_, file().parent_path(), file()}) {
            EXPECT_EQ(chown(each.c_str(), kUser, kUser), 0);
        }
        const pid_t child = fork();
        if (child == 0) {
            const bool isUser = setgid(kUser) == 0 && setuid(kUser) == 0;
            _exit(isUser && check() ? 0 : 1);
        }
        int status = -1;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    static constexpr uid_t kUser = 65534;

    fs::path file() const { return folder_ / "Quillon" / "settings.ini"; }
    fs::path aside() const { return file().string() + ".damaged"; }

    const fs::path folder_ = newFolder();
    KeyFileSettings settings_{file()};
};

TEST_F(SettingsStoreTest, AKeyNeverWrittenIsAbsent) {
    EXPECT_EQ(settings_.string("quality.usb"), std::nullopt);
    EXPECT_FALSE(fs::exists(file().parent_path()));
    settings_.setString("quality.wifi", "fast");
    EXPECT_EQ(settings_.string("quality.usb"), std::nullopt);
}

TEST_F(SettingsStoreTest, TheFirstWriteCreatesTheFolder) {
    settings_.setString("transport", "auto");
    EXPECT_THAT(settings_.string("transport"), Optional(std::string("auto")));
    EXPECT_EQ(contentOf(file()), "[Settings]\ntransport=auto\n");
}

TEST_F(SettingsStoreTest, AnEmptyTextIsPresent) {
    settings_.setString("wifiHost", "");
    EXPECT_THAT(settings_.string("wifiHost"), Optional(std::string()));
}

TEST_F(SettingsStoreTest, AnyTextComesBackAsItWas) {
    for (const std::string text : {" leading and trailing ", "line\nfeed", "tab\there", "back\\slash", "a;b",
                                   "[Settings]", "x=y", "# no", "Größe … ×", "\r"}) {
        settings_.setString("value", text);
        EXPECT_THAT(settings_.string("value"), Optional(text));
    }
}

TEST_F(SettingsStoreTest, TextThatIsNotUtf8IsRepaired) {
    settings_.setString("value", "a\xff");
    EXPECT_THAT(settings_.string("value"), Optional(std::string("a\xEF\xBF\xBD")));
}

TEST_F(SettingsStoreTest, AnyTextMayBeAKey) {
    for (const std::string key : {"deviceModel.0000-1234", "a=b", "[x]", " space ", "ä", "#", "%41", "A"}) {
        settings_.setString(key, "value of " + key);
    }
    for (const std::string key : {"deviceModel.0000-1234", "a=b", "[x]", " space ", "ä", "#", "%41", "A"}) {
        EXPECT_THAT(settings_.string(key), Optional("value of " + key));
    }
}

TEST_F(SettingsStoreTest, AnotherStoreSeesTheChange) {
    KeyFileSettings other(file());
    settings_.setString("a", "1");
    EXPECT_THAT(other.string("a"), Optional(std::string("1")));
    other.setString("b", "2");
    settings_.setString("a", "3");
    EXPECT_THAT(other.string("a"), Optional(std::string("3")));
    EXPECT_THAT(settings_.string("b"), Optional(std::string("2")));
}

TEST_F(SettingsStoreTest, CommentsOfTheUserStay) {
    writeFile("[Settings]\n# mine\na=1\n");
    settings_.setString("b", "2");
    EXPECT_THAT(contentOf(file()), HasSubstr("# mine"));
}

TEST_F(SettingsStoreTest, ADamagedFileIsKeptAside) {
    writeFile("no key file\n");
    EXPECT_EQ(settings_.string("a"), std::nullopt);
    EXPECT_EQ(contentOf(aside()), "no key file\n");
    settings_.setString("a", "1");
    EXPECT_THAT(settings_.string("a"), Optional(std::string("1")));
    EXPECT_EQ(contentOf(aside()), "no key file\n");
}

TEST_F(SettingsStoreTest, AFolderInTheFilesPlaceIsMovedAsideToo) {
    fs::create_directories(file());
    settings_.setString("a", "1");
    EXPECT_THAT(settings_.string("a"), Optional(std::string("1")));
    EXPECT_TRUE(fs::is_directory(aside()));
}

TEST_F(SettingsStoreTest, AnythingElseInTheFilesPlaceIsMovedAsideWithoutWaiting) {
    fs::create_directories(file().parent_path());
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    settings_.setString("a", "1");
    EXPECT_THAT(settings_.string("a"), Optional(std::string("1")));
    EXPECT_TRUE(fs::is_fifo(aside()));
}

TEST_F(SettingsStoreTest, WhatWasKeptAsideBeforeStays) {
    fs::create_directories(aside());
    for (const std::string content : {"first", "second"}) {
        writeFile(content);
        EXPECT_FALSE(settings_.contains("a"));
        settings_.setString("a", "1");
    }
    EXPECT_TRUE(fs::is_directory(aside()));
    EXPECT_EQ(contentOf(aside().string() + ".2"), "first");
    EXPECT_EQ(contentOf(aside().string() + ".3"), "second");
}

TEST_F(SettingsStoreTest, AFileOfAnotherUserIsKeptAside) {
    writeFile("[Settings]\na=1\n");
    fs::permissions(file(), fs::perms::none);
    EXPECT_TRUE(holdsForTheUser([this] {
        settings_.setString("b", "2");
        return settings_.string("a") == std::nullopt && settings_.string("b") == "2";
    }));
    EXPECT_TRUE(fs::exists(aside()));
}

TEST_F(SettingsStoreTest, DamageThatCannotBeKeptAsideIsNotWrittenOver) {
    writeFile("no key file\n");
    fs::permissions(file(), fs::perms::all);
    fs::permissions(file().parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_TRUE(holdsForTheUser([this] {
        settings_.setString("a", "1");
        return settings_.string("a") == "1";
    }));
    EXPECT_EQ(contentOf(file()), "no key file\n");
    fs::permissions(file().parent_path(), fs::perms::owner_all);
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), {}), 1);
}

TEST_F(SettingsStoreTest, AFileThatCannotBeOpenedNowIsLeftAlone) {
    settings_.setString("a", "1");
    std::optional<std::string> readBefore;
    std::optional<std::string> readAfter;
    {
        const NoDescriptors none;  // a sanitizer needs some to look at what is compared
        readBefore = settings_.string("a");
        settings_.setString("b", "2");
        readAfter = settings_.string("b");
    }
    EXPECT_EQ(readBefore, std::nullopt);
    EXPECT_THAT(readAfter, Optional(std::string("2")));
    EXPECT_FALSE(fs::exists(aside()));
    EXPECT_THAT(settings_.string("a"), Optional(std::string("1")));
    EXPECT_EQ(contentOf(file()), "[Settings]\na=1\n");
}

TEST_F(SettingsStoreTest, AFileThatCannotBeReadNowIsNotWrittenOver) {
    fs::create_directories(file().parent_path());
    fs::create_symlink(file().filename(), file());  // to itself: the folder is sound, the file cannot be had
    settings_.setString("a", "1");
    EXPECT_THAT(settings_.string("a"), Optional(std::string("1")));
    EXPECT_TRUE(fs::is_symlink(file()));
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), {}), 1);
}

TEST_F(SettingsStoreTest, WhatCannotBeWrittenCountsAndIsWrittenWithTheNext) {
    settings_.write({{"autoStart", false}, {"wifiHost", std::string("10.0.0.2")}});
    fs::rename(file().parent_path(), folder_ / "elsewhere");
    std::ofstream(folder_ / "Quillon") << "a file in the folder's place";
    testing::internal::CaptureStderr();
    settings_.setBoolean("autoStart", true);
    settings_.setBoolean("autoStart", false);
    settings_.write({{"autoStart", true}, {"wifiHost", std::nullopt}});
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_THAT(settings_.boolean("autoStart"), Optional(true));
    EXPECT_TRUE(settings_.contains("autoStart"));
    EXPECT_FALSE(settings_.contains("wifiHost"));

    fs::remove(folder_ / "Quillon");
    fs::rename(folder_ / "elsewhere", file().parent_path());
    settings_.setString("position", "left");
    EXPECT_EQ(contentOf(file()), "[Settings]\nautoStart=true\nposition=left\n");
    writeFile("[Settings]\nautoStart=false\n");
    EXPECT_THAT(settings_.boolean("autoStart"), Optional(false)) << "what is written is the file's again";
}

TEST_F(SettingsStoreTest, ADraftThatRootLeftIsInNobodysWay) {
    settings_.setString("a", "1");
    const fs::path draft = file().string() + ".new";
    std::ofstream(draft) << "[Settings]\na=";
    fs::permissions(draft, fs::perms::none);
    EXPECT_TRUE(holdsForTheUser([this] {
        settings_.setString("b", "2");
        return settings_.string("a") == "1";
    }));
    EXPECT_EQ(contentOf(file()), "[Settings]\na=1\nb=2\n");
    EXPECT_FALSE(fs::exists(draft));
}

TEST_F(SettingsStoreTest, WhatRootWritesIsTheUsers) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can write for another";
    fs::create_directories(file().parent_path());
    ASSERT_EQ(chown(file().parent_path().c_str(), kUser, kUser), 0);
    settings_.setString("a", "1");
    EXPECT_TRUE(holdsForTheUser([this] { return settings_.string("a") == "1"; }));
}

TEST_F(SettingsStoreTest, AComplaintThatChangesNothingIsMadeOnce) {
    std::ofstream(folder_ / "Quillon") << "a file in the folder's place";
    testing::internal::CaptureStderr();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(settings_.string("a"), std::nullopt);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
}

TEST_F(SettingsStoreTest, AFolderInTheDraftsPlaceIsTold) {
    settings_.setString("a", "1");
    fs::create_directories(file().string() + ".new");
    testing::internal::CaptureStderr();
    settings_.setString("a", "2");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Is a directory"));
    EXPECT_EQ(contentOf(file()), "[Settings]\na=1\n");
}

TEST_F(SettingsStoreTest, ValuesHaveTheirTypes) {
    settings_.write({{"text", std::string("x")}, {"number", int64_t{-5}}, {"truth", true}});
    EXPECT_EQ(contentOf(file()), "[Settings]\ntext=x\nnumber=-5\ntruth=true\n");
    EXPECT_THAT(settings_.integer("number"), Optional(-5));
    EXPECT_THAT(settings_.boolean("truth"), Optional(true));
    EXPECT_THAT(settings_.string("number"), Optional(std::string("-5")));
    EXPECT_THAT(settings_.string("truth"), Optional(std::string("true")));
    EXPECT_EQ(settings_.integer("text"), std::nullopt);
    EXPECT_EQ(settings_.boolean("text"), std::nullopt);
    EXPECT_EQ(settings_.boolean("number"), std::nullopt);
    EXPECT_EQ(settings_.integer("absent"), std::nullopt);
    EXPECT_EQ(settings_.boolean("absent"), std::nullopt);
}

TEST_F(SettingsStoreTest, WhatTheUserWroteByHandIsRead) {
    writeFile("[Settings]\nmirror = TRUE\npreventSleep=no\nautoStart=1\nsmooth.usb= 3\n");
    EXPECT_THAT(settings_.boolean("mirror"), Optional(true));
    EXPECT_THAT(settings_.boolean("preventSleep"), Optional(false));
    EXPECT_THAT(settings_.boolean("autoStart"), Optional(true));
    EXPECT_THAT(settings_.integer("smooth.usb"), Optional(3));
}

TEST_F(SettingsStoreTest, PresenceDoesNotAskForSense) {
    writeFile("[Settings]\nscaling=fi\xfft\nempty=\n");
    EXPECT_TRUE(settings_.contains("scaling"));
    EXPECT_EQ(settings_.string("scaling"), std::nullopt) << "no UTF-8";
    EXPECT_TRUE(settings_.contains("empty"));
    EXPECT_FALSE(settings_.contains("absent"));
}

TEST_F(SettingsStoreTest, ARemovedKeyIsAbsent) {
    settings_.write({{"a", std::string("1")}, {"b", std::string("2")}});
    settings_.write({{"a", std::nullopt}, {"b", std::string("3")}, {"never", std::nullopt}});
    EXPECT_FALSE(settings_.contains("a"));
    EXPECT_THAT(settings_.string("b"), Optional(std::string("3")));
    settings_.remove("b");
    EXPECT_FALSE(settings_.contains("b"));
}

TEST_F(SettingsStoreTest, BytesWithoutSenseAreKeptAside) {
    const std::string garbage("\0\xff[Set\nx", 9);
    writeFile(garbage);
    EXPECT_FALSE(settings_.contains("x"));
    EXPECT_EQ(contentOf(aside()), garbage);
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), {}), 1) << "and no draft is left";
}

/// Writes growing numbers under two keys for ever, and a byte into `done` after each.
[[noreturn]] void saveForEver(const fs::path& file, int done, int64_t number) {
    for (KeyFileSettings settings(file);; ++number) {
        settings.write({{"first", number}, {"second", number}});
        if (write(done, "+", 1) != 1) _exit(1);
    }
}

TEST_F(SettingsStoreTest, AKillAtAnyMomentLosesNothing) {
    // In memory, so that the moments of a write lie close together.
    const fs::path place = inMemory();
    const fs::path file = place / "settings.ini";
    KeyFileSettings settings(file);
    settings.write({{"first", int64_t{0}}, {"second", int64_t{0}}, {"untouched", std::string("stays")}});

    std::mt19937 random(20261121);
    int64_t number = 0;
    for (int kill_ = 0; kill_ < 1000; ++kill_) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        const pid_t writer = fork();
        if (writer == 0) saveForEver(file, ends[1], number + 1);
        ASSERT_GT(writer, 0);
        close(ends[1]);

        int64_t done = 0;
        char byte = 0;
        for (auto wanted = random() % 3; wanted > 0 && read(ends[0], &byte, 1) == 1; --wanted) ++done;
        for (volatile auto spin = random() % 20000; spin > 0;) spin = spin - 1;  // somewhere within the next
        kill(writer, SIGKILL);
        ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
        while (read(ends[0], &byte, 1) == 1) ++done;
        close(ends[0]);

        const auto first = settings.integer("first");
        ASSERT_TRUE(first);
        EXPECT_EQ(settings.integer("second"), first) << "written together";
        EXPECT_GE(*first, number + done) << "what was stored stays stored";
        EXPECT_LE(*first, number + done + 1);
        EXPECT_EQ(settings.string("untouched"), "stays");
        ASSERT_LE(std::distance(fs::directory_iterator(place), {}), 2) << "drafts do not pile up";
        number = *first;
    }
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
    settings.setString("untouched", "changed");
    EXPECT_EQ(std::distance(fs::directory_iterator(place), {}), 1);
}

TEST_F(SettingsStoreTest, WritersOfSeveralProgramsLoseNothing) {
    constexpr int kWriters = 4;
    constexpr int kWrites = 50;
    std::array<pid_t, kWriters> writers{};
    for (size_t i = 0; i < writers.size(); ++i) {
        writers[i] = fork();
        if (writers[i] != 0) continue;
        KeyFileSettings own(file());
        for (int each = 0; each < kWrites; ++each) {
            own.setInteger(std::to_string(i) + "." + std::to_string(each), each);
        }
        _exit(0);
    }
    for (const pid_t writer : writers) ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
    for (int i = 0; i < kWriters; ++i) {
        for (int each = 0; each < kWrites; ++each) {
            EXPECT_EQ(settings_.integer(std::to_string(i) + "." + std::to_string(each)), each);
        }
    }
}

TEST_F(SettingsStoreTest, WritingLeavesNoOtherFiles) {
    settings_.setString("a", "1");
    settings_.setString("a", "2");
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), {}), 1);
}

}  // namespace
}  // namespace quillon
