#include "base/text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(TextTest, SplittingDropsEmptyPieces) {
    EXPECT_THAT(splitDroppingEmpty("a b  c", ' '), ElementsAre("a", "b", "c"));
    EXPECT_THAT(splitDroppingEmpty("  a ", ' '), ElementsAre("a"));
    EXPECT_THAT(splitDroppingEmpty("abc", ' '), ElementsAre("abc"));
    EXPECT_THAT(splitDroppingEmpty("", ' '), IsEmpty());
    EXPECT_THAT(splitDroppingEmpty("   ", ' '), IsEmpty());
}

TEST(TextTest, AnIntegerIsASignAndDigitsThatFit) {
    EXPECT_EQ(parseInteger("0"), 0);
    EXPECT_EQ(parseInteger("-0"), 0);
    EXPECT_EQ(parseInteger("+7"), 7);
    EXPECT_EQ(parseInteger("-12"), -12);
    EXPECT_EQ(parseInteger("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(parseInteger("-9223372036854775808"), INT64_MIN);
    for (const char* bad : {"", "+", "-", "+-1", "-+1", "--1", " 1", "1 ", "1.0", "1e3", "0x1",
                            "9223372036854775808", "-9223372036854775809", "٣"}) {
        EXPECT_EQ(parseInteger(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(parseInteger(std::string_view("1\0", 2)), std::nullopt);
}

TEST(TextTest, APortHas16Bits) {
    EXPECT_EQ(parsePort("0"), 0);
    EXPECT_EQ(parsePort("65535"), 65535);
    for (const char* bad : {"65536", "-1", "", "x"}) EXPECT_EQ(parsePort(bad), std::nullopt) << bad;
}

TEST(TextTest, ValidUtf8StaysAsItIs) {
    for (const std::string_view text : {"", "plain", "Größe × …", "\U0010FFFF", "\uD7FF\uE000"}) {
        EXPECT_EQ(repairedUtf8(viewOf(text)), text);
    }
}

TEST(TextTest, InvalidUtf8IsReplaced) {
    const std::string mark = "\xEF\xBF\xBD";
    EXPECT_EQ(repairedUtf8(viewOf("a\xff"
                                  "b")),
              "a" + mark + "b");
    EXPECT_EQ(repairedUtf8(viewOf("\xC3")), mark);                                   // cut off
    EXPECT_EQ(repairedUtf8(viewOf("\xC0\x80")), mark + mark);                        // overlong
    EXPECT_EQ(repairedUtf8(viewOf("\xED\xA0\x80")), mark + mark + mark);             // a surrogate
    EXPECT_EQ(repairedUtf8(viewOf("\xF4\x90\x80\x80")), mark + mark + mark + mark);  // beyond Unicode
}

TEST(TextTest, ControlCharactersDoNotLeaveTheirLine) {
    EXPECT_EQ(onOneLine("Anna's tablet, Größe 日本"), "Anna's tablet, Größe 日本");
    EXPECT_EQ(onOneLine(std::string("a\nb\r\x1b[2Jc\0d\x7f", 12)), "a\\x0ab\\x0d\\x1b[2Jc\\x00d\\x7f");
    EXPECT_EQ(onOneLine("\xC2\x9B\xC2\xA0"), "\\x9b\xC2\xA0");
    EXPECT_EQ(onOneLine("\xC2"), "\xEF\xBF\xBD");
    EXPECT_EQ(onOneLine(""), "");
}

TEST(TextTest, FormattingTakesAnyLength) {
    EXPECT_EQ(formatted("%s", ""), "");
    EXPECT_EQ(formatted("%d-%s", 7, "x"), "7-x");
    const std::string longText(5000, 'l');
    EXPECT_EQ(formatted("%s!", longText.c_str()), longText + "!");
}

}  // namespace
}  // namespace quillon
