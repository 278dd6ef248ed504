#include "platform/macos/settings_store.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

const std::string kSuite = "net.quillon.host.tests";

class SettingsStoreTest : public testing::Test {
  protected:
    ~SettingsStoreTest() override {
        [NSUserDefaults.standardUserDefaults removePersistentDomainForName:@"net.quillon.host.tests"];
    }
    UserDefaultsSettings settings{kSuite};
};

TEST_F(SettingsStoreTest, AKeyNeverWrittenIsAbsent) {
    EXPECT_FALSE(settings.contains("quality.usb"));
    EXPECT_EQ(settings.string("quality.usb"), std::nullopt);
    EXPECT_EQ(settings.integer("quality.usb"), std::nullopt);
    EXPECT_EQ(settings.boolean("quality.usb"), std::nullopt);
}

TEST_F(SettingsStoreTest, AnotherReaderSeesWhatWasStored) {
    settings.write({{"transport", "wifi"}, {"smooth.wifi", int64_t{3}}, {"mirror", true}});
    UserDefaultsSettings reader{kSuite};
    EXPECT_EQ(reader.string("transport"), "wifi");
    EXPECT_EQ(reader.integer("smooth.wifi"), 3);
    EXPECT_EQ(reader.boolean("mirror"), true);
}

TEST_F(SettingsStoreTest, NumbersAndTruthValuesReadAsText) {
    settings.write({{"smooth.wifi", int64_t{-7}}, {"mirror", false}});
    EXPECT_EQ(settings.string("smooth.wifi"), "-7");
    EXPECT_EQ(settings.string("mirror"), "false");
}

TEST_F(SettingsStoreTest, ARemovedKeyIsAbsent) {
    settings.setString("wifiHost", "192.168.1.20");
    settings.remove("wifiHost");
    EXPECT_FALSE(settings.contains("wifiHost"));
}

TEST_F(SettingsStoreTest, AnEmptyTextIsPresentAndBytesAreRepaired) {
    settings.write({{"wifiHost", ""}, {"name", "\xff"}});
    EXPECT_EQ(settings.string("wifiHost"), "");
    EXPECT_EQ(settings.string("name"), "\xEF\xBF\xBD");
}

}  // namespace
}  // namespace quillon
