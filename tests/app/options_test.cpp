#include "app/options.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> line(std::vector<std::string> words) {
    words.insert(words.begin(), "/usr/bin/QuillonHost");
    return words;
}

Options parsed(std::vector<std::string> words) {
    return Options::parse(line(std::move(words)));
}

/// The defaults with one change.
template <typename Change>
Options defaultsWith(Change change) {
    Options options;
    change(options);
    return options;
}

TEST(OptionsTest, NoArgumentsGiveTheDefaults) {
    const Options options = parsed({});
    EXPECT_EQ(options.udid, "");
    EXPECT_EQ(options.port, 5555);
    EXPECT_EQ(options.width, 2048);
    EXPECT_EQ(options.height, 1536);
    EXPECT_EQ(options.fps, 30);
    EXPECT_EQ(options.bitrate, 12000000);
    EXPECT_EQ(options.wifiBitrate, 8000000);
    EXPECT_EQ(options.keyframeSeconds, 2);
    EXPECT_EQ(options.smoothness, 0);
    EXPECT_EQ(options.seconds, 0);
    EXPECT_FALSE(options.pattern);
    EXPECT_EQ(options.display, 0);
    EXPECT_TRUE(options.showCursor);
    EXPECT_TRUE(options.virtual_);
    EXPECT_EQ(options.position, "right");
    EXPECT_EQ(options.virtualWidth, 1024);
    EXPECT_EQ(options.virtualHeight, 768);
    EXPECT_FALSE(options.probeModes);
    EXPECT_EQ(options.maxPixelsWide, 0);
    EXPECT_EQ(options.maxPixelsHigh, 0);
    EXPECT_FALSE(options.checkInput);
    EXPECT_FALSE(options.mirror);
    EXPECT_FALSE(options.listDisplays);
    EXPECT_FALSE(options.cleanup);
    EXPECT_FALSE(options.switchTest);
    EXPECT_FALSE(options.pace);
    EXPECT_FALSE(options.twoModes);
    EXPECT_FALSE(options.hiDPIProbe);
    EXPECT_FALSE(options.cycleTest);
    EXPECT_FALSE(options.tcp.has_value());
    EXPECT_EQ(options.transport, "usb");
    EXPECT_FALSE(options.discover);
    EXPECT_FALSE(options.listDevices);
    EXPECT_FALSE(options.discoverAll);
}

TEST(OptionsTest, AnEmptyListAndTheProgramPathAloneGiveTheDefaults) {
    EXPECT_EQ(Options::parse({}), Options());
    EXPECT_EQ(Options::parse({"--pattern"}), Options());
}

TEST(OptionsTest, EveryFlagSetsItsField) {
    const std::vector<std::pair<std::string, Options>> cases{
        {"--pattern", defaultsWith([](Options& o) { o.pattern = true; })},
        {"--no-cursor", defaultsWith([](Options& o) { o.showCursor = false; })},
        {"--physical", defaultsWith([](Options& o) { o.virtual_ = false; })},
        {"--probe-modes", defaultsWith([](Options& o) { o.probeModes = true; })},
        {"--displays", defaultsWith([](Options& o) { o.listDisplays = true; })},
        {"--discover-all", defaultsWith([](Options& o) { o.discoverAll = true; })},
        {"--devices", defaultsWith([](Options& o) { o.listDevices = true; })},
        {"--discover", defaultsWith([](Options& o) { o.discover = true; })},
        {"--cycle-test", defaultsWith([](Options& o) { o.cycleTest = true; })},
        {"--hidpi-probe", defaultsWith([](Options& o) { o.hiDPIProbe = true; })},
        {"--two-modes", defaultsWith([](Options& o) { o.twoModes = true; })},
        {"--pace", defaultsWith([](Options& o) { o.pace = true; })},
        {"--switch-test", defaultsWith([](Options& o) { o.switchTest = true; })},
        {"--cleanup", defaultsWith([](Options& o) { o.cleanup = true; })},
        {"--mirror", defaultsWith([](Options& o) { o.mirror = true; })},
        {"--check-input", defaultsWith([](Options& o) { o.checkInput = true; })},
    };
    for (const auto& [word, expected] : cases) {
        EXPECT_EQ(parsed({word}), expected) << word;
        // A flag consumes nothing.
        EXPECT_EQ(parsed({word, "--udid", "u"}).udid, "u") << word;
    }
}

TEST(OptionsTest, EveryValueOptionSetsItsField) {
    EXPECT_EQ(parsed({"--udid", "ab cd"}), defaultsWith([](Options& o) { o.udid = "ab cd"; }));
    EXPECT_EQ(parsed({"--port", "6000"}), defaultsWith([](Options& o) { o.port = 6000; }));
    EXPECT_EQ(parsed({"--width", "800"}), defaultsWith([](Options& o) { o.width = 800; }));
    EXPECT_EQ(parsed({"--height", "600"}), defaultsWith([](Options& o) { o.height = 600; }));
    EXPECT_EQ(parsed({"--fps", "60"}), defaultsWith([](Options& o) { o.fps = 60; }));
    EXPECT_EQ(parsed({"--bitrate", "7"}), defaultsWith([](Options& o) { o.bitrate = 7; }));
    EXPECT_EQ(parsed({"--wifi-bitrate", "8"}), defaultsWith([](Options& o) { o.wifiBitrate = 8; }));
    EXPECT_EQ(parsed({"--keyframe", "9"}), defaultsWith([](Options& o) { o.keyframeSeconds = 9; }));
    EXPECT_EQ(parsed({"--smoothness", "3"}), defaultsWith([](Options& o) { o.smoothness = 3; }));
    EXPECT_EQ(parsed({"--seconds", "10"}), defaultsWith([](Options& o) { o.seconds = 10; }));
    EXPECT_EQ(parsed({"--display", "1"}), defaultsWith([](Options& o) { o.display = 1; }));
    EXPECT_EQ(parsed({"--position", "above"}), defaultsWith([](Options& o) { o.position = "above"; }));
    EXPECT_EQ(parsed({"--transport", "auto"}), defaultsWith([](Options& o) { o.transport = "auto"; }));
    EXPECT_EQ(parsed({"--tcp", "h:1"}), defaultsWith([](Options& o) { o.tcp = "h:1"; }));
    EXPECT_EQ(parsed({"--virtual-size", "1280x800"}), defaultsWith([](Options& o) {
                  o.virtualWidth = 1280;
                  o.virtualHeight = 800;
              }));
    EXPECT_EQ(parsed({"--max-pixels", "3000x2000"}), defaultsWith([](Options& o) {
                  o.maxPixelsWide = 3000;
                  o.maxPixelsHigh = 2000;
              }));
}

TEST(OptionsTest, PortTakesSixteenBitsOnly) {
    for (const char* bad : {"70000", "65536", "-1", "", "55a", " 55", "99999999999999999999"}) {
        EXPECT_EQ(parsed({"--port", bad}).port, 5555) << bad;
    }
    EXPECT_EQ(parsed({"--port", "0"}).port, 0);
    EXPECT_EQ(parsed({"--port", "65535"}).port, 65535);
    EXPECT_EQ(parsed({"--port", "+80"}).port, 80);
    EXPECT_EQ(parsed({"--port", "81", "--port", "bad"}).port, 81);
}

TEST(OptionsTest, IntegersAreWholeSignedDecimals) {
    for (const char* bad : {"", "x", "3.5", " 3", "3 ", "0x10", "--", "+", "-", "+-3", "++3",
                            "9223372036854775808", "-9223372036854775809"}) {
        EXPECT_EQ(parsed({"--fps", bad}).fps, 30) << bad;
    }
    EXPECT_EQ(parsed({"--fps", "+25"}).fps, 25);
    EXPECT_EQ(parsed({"--fps", "007"}).fps, 7);
    EXPECT_EQ(parsed({"--width", "9223372036854775807"}).width, INT64_MAX);
    EXPECT_EQ(parsed({"--width", "-9223372036854775808"}).width, INT64_MIN);
}

TEST(OptionsTest, NumbersAreNotCheckedForSense) {
    EXPECT_EQ(parsed({"--fps", "0"}).fps, 0);
    EXPECT_EQ(parsed({"--seconds", "-5"}).seconds, -5);
}

TEST(OptionsTest, ANonNumberIsConsumedAndTheWordAfterItExamined) {
    const Options options = parsed({"--fps", "many", "--pattern"});
    EXPECT_EQ(options.fps, 30);
    EXPECT_TRUE(options.pattern);
}

TEST(OptionsTest, AnOptionMayBeConsumedAsAValue) {
    const Options options = parsed({"--fps", "--pattern", "--udid", "--mirror"});
    EXPECT_EQ(options.fps, 30);
    EXPECT_FALSE(options.pattern);
    EXPECT_EQ(options.udid, "--mirror");
    EXPECT_FALSE(options.mirror);
}

TEST(OptionsTest, AValueMissingAtTheEndIsEmpty) {
    EXPECT_EQ(parsed({"--width"}).width, 2048);
    EXPECT_EQ(parsed({"--udid", "u", "--udid"}).udid, "");
    EXPECT_EQ(parsed({"--position"}).position, "");
    EXPECT_EQ(parsed({"--transport"}).transport, "");
    EXPECT_EQ(parsed({"--tcp"}).tcp, "");
    EXPECT_EQ(parsed({"--port"}).port, 5555);
    EXPECT_EQ(parsed({"--virtual-size"}), Options());
}

TEST(OptionsTest, SizesNeedExactlyTwoNumbers) {
    for (const char* bad :
         {"1280", "1280x", "x1280", "1920X1080", "1920x1080x2", "axb", "", "x", "12 x 13"}) {
        EXPECT_EQ(parsed({"--virtual-size", bad}), Options()) << bad;
        EXPECT_EQ(parsed({"--max-pixels", bad}), Options()) << bad;
    }
    for (const char* good : {"1920x1080", "x1920x1080", "1920xx1080x", "1920xwidex1080"}) {
        EXPECT_EQ(parsed({"--virtual-size", good}).virtualWidth, 1920) << good;
        EXPECT_EQ(parsed({"--virtual-size", good}).virtualHeight, 1080) << good;
    }
    EXPECT_EQ(parsed({"--max-pixels", "-1x+2"}).maxPixelsWide, -1);
    EXPECT_EQ(parsed({"--max-pixels", "-1x+2"}).maxPixelsHigh, 2);
}

TEST(OptionsTest, UnknownWordsAreSkippedOneByOne) {
    EXPECT_EQ(parsed({"--fsp", "60", "-h", "pattern", "--PATTERN", "--pattern=1", ""}), Options());
    EXPECT_TRUE(parsed({"--unknown", "--pattern"}).pattern);
}

TEST(OptionsTest, TheLastOccurrenceWins) {
    EXPECT_EQ(parsed({"--fps", "10", "--fps", "20"}).fps, 20);
}

TEST(OptionsTest, OptionsThatBeginAlikeDoNotShadowEachOther) {
    EXPECT_FALSE(parsed({"--discover"}).discoverAll);
    EXPECT_FALSE(parsed({"--discover-all"}).discover);
    EXPECT_EQ(parsed({"--display", "2"}).display, 2);
    EXPECT_FALSE(parsed({"--display", "2"}).listDisplays);
    const Options both = parsed({"--discover", "--devices"});
    EXPECT_TRUE(both.discover);
    EXPECT_TRUE(both.listDevices);
}

TEST(OptionsTest, SkippedWordsAreThoseThatNobodyConsumed) {
    EXPECT_THAT(Options::skippedWords(line({"--fps", "--help", "a", "--pattern", "--version"})),
                ElementsAre("a", "--version"));
    EXPECT_THAT(Options::skippedWords({"--help"}), IsEmpty());
}

TEST(OptionsTest, UsageNamesEveryOption) {
    const std::string usage = Options::usage();
    for (const char* word :
         {"--udid ID", "--tcp HOST:PORT", "--virtual-size WxH", "--check-input", "--help"}) {
        EXPECT_THAT(usage, HasSubstr(word));
    }
}

}  // namespace
}  // namespace quillon
