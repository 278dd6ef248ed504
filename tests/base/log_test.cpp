#include "base/log.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <thread>

#include "base/text.hpp"
#include "tests/support/own_home.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

/// A home folder of its own, and the console copy kept out of the test's output.
class LogTest : public testing::Test, protected test::OwnHome {
  protected:
    LogTest() { testing::internal::CaptureStderr(); }
    ~LogTest() override { testing::internal::GetCapturedStderr(); }

    fs::path file() const { return home() / "Library/Logs/Quillon.log"; }

    std::string content() const {
        std::ifstream stream(file(), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(LogTest, FirstLineCreatesTheFolderAndHoldsOneStampedLine) {
    Log::write("[usb] connected");
    EXPECT_TRUE(
        std::regex_match(content(), std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z \[usb\] connected)"
                                               "\n")))
        << content();
}

TEST_F(LogTest, UrlCreatesTheFolder) {
    EXPECT_EQ(Log::url(), file());
    EXPECT_TRUE(fs::is_directory(home() / "Library/Logs"));
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(LogTest, TheStampIsTheTimeNowInUtc) {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    Log::write("x");
    std::tm utc{};
    ASSERT_NE(strptime(content().substr(0, 19).c_str(), "%Y-%m-%dT%H:%M:%S", &utc), nullptr);
    const auto stamped = std::chrono::system_clock::from_time_t(timegm(&utc));
    EXPECT_GE(stamped, now);
    EXPECT_LE(stamped, now + std::chrono::seconds(60));
}

TEST_F(LogTest, ConsoleCopyHasThePrefixAndTakesPercentAsItIs) {
    Log::write("100% of %s");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[Quillon] 100% of %s\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(content().ends_with("Z 100% of %s\n"));
}

TEST_F(LogTest, AppendsToWhatIsThere) {
    Log::write("one");
    Log::write("two");
    EXPECT_TRUE(std::regex_match(content(), std::regex("\\S+Z one\n\\S+Z two\n"))) << content();
}

TEST_F(LogTest, LineFeedsInAMessageStay) {
    Log::write("first\nsecond");
    EXPECT_TRUE(std::regex_match(content(), std::regex("\\S+Z first\nsecond\n"))) << content();
}

TEST_F(LogTest, TextBeyondAsciiIsKept) {
    Log::write("Starting… 12×34");
    EXPECT_TRUE(content().ends_with("Z Starting… 12×34\n"));
}

TEST_F(LogTest, AMessageThatIsNoTextStaysOutOfTheFile) {
    Log::write("bad \xff byte");
    EXPECT_EQ(content(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[Quillon] bad \xff byte\n");
    testing::internal::CaptureStderr();
}

TEST_F(LogTest, AFileRemovedMeanwhileIsMadeAgain) {
    Log::write("before");
    fs::remove(file());
    Log::write("after");
    EXPECT_TRUE(std::regex_match(content(), std::regex("\\S+Z after\n"))) << content();
    fs::remove_all(home() / "Library");
    Log::write("again");
    EXPECT_TRUE(std::regex_match(content(), std::regex("\\S+Z again\n"))) << content();
}

TEST_F(LogTest, AFolderThatCannotBeMadeLosesOnlyTheLine) {
    std::ofstream(home() / "Library") << "a file in the folder's place";
    Log::write("lost");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[Quillon] lost\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(fs::is_regular_file(home() / "Library"));
}

TEST_F(LogTest, AFileThatCannotBeOpenedLosesOnlyTheLine) {
    fs::create_directories(file());
    Log::write("lost");
    EXPECT_TRUE(fs::is_directory(file()));
    EXPECT_TRUE(fs::is_empty(file()));
}

TEST_F(LogTest, LinesOfTwoThreadsStayWhole) {
    constexpr int kLines = 200;
    const auto writer = [](char letter) {
        for (int i = 0; i < kLines; ++i) Log::write(std::string(300, letter) + std::to_string(i));
    };
    std::thread first(writer, 'a');
    std::thread second(writer, 'b');
    first.join();
    second.join();

    std::multiset<std::string> messages;
    const std::string text = content();
    for (const std::string_view line : splitDroppingEmpty(text, '\n')) {
        messages.insert(std::string(line.substr(line.find(' ') + 1)));
    }
    std::multiset<std::string> expected;
    for (int i = 0; i < kLines; ++i) {
        expected.insert(std::string(300, 'a') + std::to_string(i));
        expected.insert(std::string(300, 'b') + std::to_string(i));
    }
    EXPECT_EQ(messages, expected);
}

}  // namespace
}  // namespace quillon
