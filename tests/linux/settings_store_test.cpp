#include "platform/linux/settings_store.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace quillon {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Optional;

class SettingsStoreTest : public testing::Test {
  protected:
    ~SettingsStoreTest() override { fs::remove_all(folder_); }

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

TEST_F(SettingsStoreTest, AWriteThatFailsIsSilent) {
    std::ofstream(folder_ / "Quillon") << "a file in the folder's place";
    settings_.setString("a", "1");
    EXPECT_EQ(settings_.string("a"), std::nullopt);
}

TEST_F(SettingsStoreTest, WritingLeavesNoOtherFiles) {
    settings_.setString("a", "1");
    settings_.setString("a", "2");
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), {}), 1);
}

}  // namespace
}  // namespace quillon
