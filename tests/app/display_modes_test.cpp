#include "app/display_modes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/display_text.hpp"
#include "app/input_check.hpp"
#include "platform/simulated/platform.hpp"

namespace quillon {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class DisplayModesTest : public testing::Test {
  protected:
    /// Runs a mode; what it printed.
    template <typename Mode>
    std::string output(Mode mode) {
        testing::internal::CaptureStdout();
        const Instant start = platform_.loop.now();
        status_ = mode();
        duration_ = platform_.loop.now() - start;
        return testing::internal::GetCapturedStdout();
    }
    static Options options(std::vector<std::string> words) {
        words.insert(words.begin(), "QuillonHost");
        return Options::parse(words);
    }
    std::string probe(std::vector<std::string> words = {}) {
        return output([&] { return runModeProbe(platform_, options(words)); });
    }
    std::string hiDPI(std::vector<std::string> words = {}) {
        return output([&] { return runHiDPIProbe(platform_, options(words)); });
    }
    std::string cycle() {
        return output([&] { return runCycleTest(platform_); });
    }
    std::string cleanup() {
        return output([&] { return runCleanup(platform_); });
    }
    std::string checkInput() {
        return output([&] { return runInputCheck(platform_); });
    }
    void expectNothingLeft() const { EXPECT_EQ(platform_.virtualScreens.living, 0); }

    simulated::SimulatedPlatform platform_;
    int status_ = -1;
    Duration duration_{};
};

// --- Mode probe

TEST_F(DisplayModesTest, TheProbeListsTheModesOfADisplayOfItsOwn) {
    EXPECT_EQ(probe(),
              "[probe] created id=101, at most 8192x8192 pixels\n"
              "[probe] 2048x1536 (2048x1536)  current\n"
              "[probe] 1024x768 (2048x1536)\n");
    EXPECT_EQ(status_, 0);
    expectNothingLeft();
}

TEST_F(DisplayModesTest, WithTwoModesItOffersTheSizeAtSingleDensityAsWell) {
    platform_.virtualScreens.hiDPI = false;
    EXPECT_EQ(probe({"--two-modes", "--virtual-size", "800x600"}),
              "[probe] created id=101, at most 8192x8192 pixels\n"
              "[probe] 1600x1200 (1600x1200)  current\n"
              "[probe] 800x600 (800x600)\n");
}

TEST_F(DisplayModesTest, SizesBeyondTheLimitAreNotProbed) {
    platform_.virtualScreens.hiDPI = false;
    EXPECT_EQ(probe({"--two-modes", "--max-pixels", "2047x2000"}),
              "[probe] created id=101, at most 2047x2000 pixels\n"
              "[probe] 1024x768 (1024x768)  current\n");
    EXPECT_EQ(probe({"--max-pixels", "1000x1000"}), "create failed\n");
    EXPECT_EQ(status_, 1);
}

TEST_F(DisplayModesTest, AbsurdSizesAreNoDisplays) {
    for (const char* size : {"0x0", "-5x768", "9223372036854775807x9223372036854775807", "40000x10"}) {
        EXPECT_EQ(probe({"--virtual-size", size}), "create failed\n") << size;
        EXPECT_EQ(hiDPI({"--virtual-size", size}), "create failed\n") << size;
    }
    EXPECT_THAT(probe({"--max-pixels", "9223372036854775807x9223372036854775807"}),
                HasSubstr("at most 8192x8192 pixels\n"));
}

TEST_F(DisplayModesTest, WithoutVirtualDisplaysTheProbesFail) {
    platform_.virtualScreens.offered = false;
    EXPECT_EQ(probe(), "create failed\n");
    EXPECT_EQ(status_, 1);
    EXPECT_EQ(hiDPI(), "create failed\n");
    EXPECT_EQ(status_, 1);
}

// --- HiDPI probe

TEST_F(DisplayModesTest, TheDoubleDensityModeIsSetAndHolds) {
    EXPECT_EQ(
        hiDPI(),
        " requested 1024x768 pt @2x\n"
        "as created: 101  mode=2048x1536  pixels=2048x1536  bounds=1920,0 2048x1536  scale=1  vendor=1452"
        "  model=4096  mirror=no\n"
        "  modes: 2048x1536 (2048x1536), 1024x768 (2048x1536)\n"
        "  SET 2x: points=1024x768 pixels=2048x1536\n");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(duration_, 400ms);
    expectNothingLeft();
}

TEST_F(DisplayModesTest, ADensityThatIsNotOfferedIsSaid) {
    platform_.virtualScreens.hiDPI = false;
    EXPECT_THAT(hiDPI(), HasSubstr("  modes: 2048x1536 (2048x1536)\n  no 2x mode offered\n"));
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(duration_, 0ms);
}

TEST_F(DisplayModesTest, ADensityThatDoesNotLastIsSaid) {
    platform_.screens.refusesConfiguration = true;
    EXPECT_THAT(hiDPI(), HasSubstr("\n2x never stuck\n"));
    EXPECT_EQ(status_, 0);
    expectNothingLeft();
}

TEST_F(DisplayModesTest, ADisplayThatVanishesDuringTheProbeIsNoTrouble) {
    platform_.machine.after(200ms, [this] { platform_.screens.all.resize(1); });
    EXPECT_THAT(hiDPI(), HasSubstr("\n2x never stuck\n"));
}

// --- Cycle test

TEST_F(DisplayModesTest, ADisplayIsBackAfterTheFirstStep) {
    EXPECT_EQ(cycle(),
              "created id=101\n"
              "destroyed; polling for recovery\n"
              "recreate succeeded after ~2s cumulative, id=102\n");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(duration_, 2s);
    expectNothingLeft();
}

TEST_F(DisplayModesTest, TheDelayOfTheStepIsToldNotTheSum) {
    platform_.machine.after(1s, [this] { platform_.virtualScreens.refusals = 2; });
    EXPECT_EQ(cycle(),
              "created id=101\n"
              "destroyed; polling for recovery\n"
              "  still failing after +2s\n"
              "  still failing after +5s\n"
              "recreate succeeded after ~10s cumulative, id=102\n");
    EXPECT_EQ(duration_, 17s);
}

TEST_F(DisplayModesTest, ASystemThatDoesNotRecoverIsGivenUpAfter67Seconds) {
    platform_.machine.after(1s, [this] { platform_.virtualScreens.offered = false; });
    EXPECT_EQ(cycle(),
              "created id=101\n"
              "destroyed; polling for recovery\n"
              "  still failing after +2s\n"
              "  still failing after +5s\n"
              "  still failing after +10s\n"
              "  still failing after +20s\n"
              "  still failing after +30s\n"
              "no recovery within ~67s\n");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(duration_, 67s);
}

TEST_F(DisplayModesTest, WithoutVirtualDisplaysThereIsNoCycle) {
    platform_.virtualScreens.offered = false;
    EXPECT_EQ(cycle(), "initial CREATE FAILED\n");
    EXPECT_EQ(status_, 1);
    EXPECT_EQ(duration_, 0s);
}

// --- Cleanup

TEST_F(DisplayModesTest, WithoutLeftoversThereIsNothingToCleanUp) {
    EXPECT_EQ(cleanup(), "[cleanup] stale Quillon displays: []\n[cleanup] remaining: []\n");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(duration_, 2s);
}

TEST_F(DisplayModesTest, MirroredLeftoversAreUnmirrored) {
    platform_.screens.all.push_back({7, {1920, 0, 800, 600}, {1452, 4096}, {}, {}, {}});
    platform_.screens.all.push_back({8, {0, 0, 800, 600}, {1452, 4096}, {}, {}, {true, 1}});
    platform_.screens.all.push_back({9, {0, 0, 800, 600}, {1452, 4097}, {}, {}, {true, 1}});
    platform_.machine.after(
        1s, [this] { std::erase_if(platform_.screens.all, [](const auto& each) { return each.id == 7; }); });
    EXPECT_EQ(cleanup(),
              "[cleanup] stale Quillon displays: [7, 8]\n"
              "[cleanup] unmirrored 8\n"
              "[cleanup] remaining: [8]\n");
    EXPECT_FALSE(platform_.screens.mirroring(8).inMirrorSet);
    EXPECT_TRUE(platform_.screens.mirroring(9).inMirrorSet) << "not ours";
}

TEST_F(DisplayModesTest, LeftoversAreTakenAwayWhereTheSystemDoesNotDoIt) {
    class LeftoverDisplays : public simulated::SimulatedVirtualDisplays {
      public:
        explicit LeftoverDisplays(simulated::SimulatedDisplays& displays)
            : SimulatedVirtualDisplays(displays), all_(displays.all) {}
        void removeLeftovers() override { all_.pop_back(); }

      private:
        std::vector<simulated::SimulatedDisplays::Display>& all_;
    };
    class LeftoverPlatform : public simulated::SimulatedPlatform {
      public:
        LeftoverDisplays leftovers{screens};
        VirtualDisplays& virtualDisplays() override { return leftovers; }
    };
    LeftoverPlatform platform;
    platform.screens.all.push_back({8, {1920, 0, 800, 600}, {1452, 4096}, {}, {}, {}});
    EXPECT_EQ(output([&] { return runCleanup(platform); }),
              "[cleanup] stale Quillon displays: [8]\n[cleanup] remaining: []\n");
}

TEST_F(DisplayModesTest, ARefusedConfigurationIsPassedOver) {
    platform_.screens.all.push_back({8, {0, 0, 800, 600}, {1452, 4096}, {}, {}, {true, 1}});
    platform_.screens.refusesConfiguration = true;
    EXPECT_EQ(cleanup(), "[cleanup] stale Quillon displays: [8]\n[cleanup] remaining: [8]\n");
    EXPECT_EQ(status_, 0);
}

// --- Input check

/// A pointer that goes where it is sent.
class ObedientPointer : public simulated::SimulatedPointer {
  public:
    void post(Event event, Point at) override {
        SimulatedPointer::post(event, at);
        place = at;
    }
};

class CheckedPlatform : public simulated::SimulatedPlatform {
  public:
    ObedientPointer obedient;
    bool obeys = true;
    Pointer& pointer() override { return obeys ? obedient : mouse; }
};

class InputCheckTest : public testing::Test {
  protected:
    std::string check() {
        testing::internal::CaptureStdout();
        const Instant start = platform_.loop.now();
        EXPECT_EQ(runInputCheck(platform_), 0);
        EXPECT_EQ(platform_.loop.now() - start, 300ms);
        return testing::internal::GetCapturedStdout();
    }
    CheckedPlatform platform_;
};

TEST_F(InputCheckTest, APointerThatMovesIsTold) {
    EXPECT_EQ(check(), "[check] accessibility=true\n[check] 960,540 moved=true\n");
}

TEST_F(InputCheckTest, WhereThePointerIsAlreadyProvesNothing) {
    platform_.obedient.place = Point{962, 541};
    EXPECT_EQ(check(), "[check] accessibility=true\n[check] 480,270 moved=true\n");
}

TEST_F(InputCheckTest, APointerThatStaysIsTold) {
    platform_.obeys = false;
    platform_.allowed.control = false;
    EXPECT_EQ(check(), "[check] accessibility=false\n[check] 100,100 moved=false\n");
}

TEST_F(InputCheckTest, WithoutAPointerItSaysSo) {
    platform_.obeys = false;
    platform_.mouse.place.reset();
    EXPECT_THAT(check(), StartsWith("[check] accessibility=true\n[check] no pointer: "));
}

TEST_F(InputCheckTest, FivePointsAwayIsNotThere) {
    platform_.obeys = false;
    for (const auto& [x, expected] : {std::pair{965.0, "false"}, std::pair{964.0, "true"}}) {
        platform_.mouse.place = Point{100, 100};
        platform_.machine.after(100ms, [this, place = x] { platform_.mouse.moveTo({place, 540}); });
        EXPECT_THAT(check(), HasSubstr(std::string("moved=") + expected)) << x;
    }
}

TEST(DisplayText, ListsAsPeopleWriteThem) {
    EXPECT_EQ(listText({}), "[]");
    EXPECT_EQ(listText({4}), "[4]");
    EXPECT_EQ(listText({4, 66}), "[4, 66]");
}

}  // namespace
}  // namespace quillon
