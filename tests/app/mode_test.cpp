#include "app/mode.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temporary_folder.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

Mode modeOf(std::vector<std::string> words, const char* bundlePath = "/usr/bin") {
    words.insert(words.begin(), "QuillonHost");
    return chooseMode(Options::parse(words), bundlePath);
}

TEST(ModeTest, EachOptionChoosesItsMode) {
    EXPECT_EQ(modeOf({"--probe-modes"}), Mode::modeProbe);
    EXPECT_EQ(modeOf({"--check-input"}), Mode::inputCheck);
    EXPECT_EQ(modeOf({"--hidpi-probe"}), Mode::hiDPIProbe);
    EXPECT_EQ(modeOf({"--cycle-test"}), Mode::cycleTest);
    EXPECT_EQ(modeOf({"--devices"}), Mode::deviceList);
    EXPECT_EQ(modeOf({"--discover-all"}), Mode::discoverAll);
    EXPECT_EQ(modeOf({"--discover"}), Mode::discoverFirst);
    EXPECT_EQ(modeOf({"--displays"}), Mode::displayList);
    EXPECT_EQ(modeOf({"--cleanup"}), Mode::cleanup);
    EXPECT_EQ(modeOf({}, "/Applications/Quillon.app"), Mode::application);
    EXPECT_EQ(modeOf({}), Mode::host);
}

TEST(ModeTest, TheFirstRuleThatAppliesDecides) {
    // Taking the strongest option away lets the next one decide.
    std::vector<std::pair<std::string, Mode>> rules{
        {"--probe-modes", Mode::modeProbe},  {"--check-input", Mode::inputCheck},
        {"--hidpi-probe", Mode::hiDPIProbe}, {"--cycle-test", Mode::cycleTest},
        {"--devices", Mode::deviceList},     {"--discover-all", Mode::discoverAll},
        {"--discover", Mode::discoverFirst}, {"--displays", Mode::displayList},
        {"--cleanup", Mode::cleanup},
    };
    while (!rules.empty()) {
        std::vector<std::string> words;
        for (auto rule = rules.rbegin(); rule != rules.rend(); ++rule) words.push_back(rule->first);
        EXPECT_EQ(modeOf(words, "/Applications/Quillon.app"), rules.front().second) << rules.front().first;
        rules.erase(rules.begin());
    }
}

TEST(ModeTest, OtherOptionsChooseNoMode) {
    EXPECT_EQ(modeOf({"--two-modes", "--switch-test", "--pattern", "--mirror", "--tcp", "a:1"}), Mode::host);
    EXPECT_EQ(modeOf({"--max-pixels", "1x1", "--seconds", "1"}, "/x/Quillon.app"), Mode::application);
}

TEST(ModeTest, OnlyABundleIsAnApplication) {
    EXPECT_EQ(modeOf({}, "/opt/quillon.app"), Mode::application);
    for (const char* other : {"", "/opt/Quillon.apps", "/opt/Quillon.app/Contents", "/opt/app"}) {
        EXPECT_EQ(modeOf({}, other), Mode::host) << other;
    }
}

TEST(ModeTest, BundlePaths) {
    EXPECT_EQ(bundlePathOf("/Applications/Quillon.app/Contents/MacOS/QuillonHost"),
              "/Applications/Quillon.app");
    EXPECT_EQ(bundlePathOf("/opt/Quillon.app/QuillonHost"), "/opt/Quillon.app");
    EXPECT_EQ(bundlePathOf("/usr/bin/QuillonHost"), "/usr/bin");
    EXPECT_EQ(bundlePathOf("/x/MacOS/QuillonHost"), "/x/MacOS");
}

TEST(ModeTest, ABundleIsFoundFromInsideToo) {
    const fs::path before = fs::current_path();
    const test::TemporaryFolder temporary;
    const fs::path folder = fs::canonical(temporary.path());
    const fs::path bundle = folder / "Quillon.app";
    fs::create_directories(bundle / "Contents" / "MacOS");
    fs::current_path(bundle);
    EXPECT_EQ(bundlePathOf("./QuillonHost"), bundle);
    EXPECT_EQ(bundlePathOf("../Quillon.app//QuillonHost"), bundle);
    EXPECT_EQ(bundlePathOf("Contents/MacOS/QuillonHost"), bundle);
    fs::current_path(bundle / "Contents" / "MacOS");
    EXPECT_EQ(bundlePathOf("./QuillonHost"), bundle);
    EXPECT_EQ(bundlePathOf("../../QuillonHost"), bundle);
    fs::current_path(before);
}

TEST(ModeTest, ABareNameIsTheCommandLineProgram) {
    EXPECT_EQ(bundlePathOf("QuillonHost"), "");
    EXPECT_EQ(bundlePathOf(""), "");
}

}  // namespace
}  // namespace quillon
