#include "device/statistics.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "device/json.hpp"

namespace quillon::device {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

const Moment kStart{1000s};

FrameTimes timesAt(Moment arrival, uint64_t pts) {
    return {pts, arrival, arrival + 2ms, arrival + 5ms};
}

TEST(JsonObject, WritesMembersInOrder) {
    JsonObject object;
    object.add("text", "a\"b\\c\n")
        .add("whole", 7)
        .add("part", 1.5)
        .add("flag", true)
        .add("list", std::vector<std::string>{"x", "y"});
    EXPECT_EQ(object.line(),
              R"({"text": "a\"b\\c\u000a", "whole": 7, "part": 1.500, "flag": true, "list": ["x", "y"]})");
    EXPECT_EQ(JsonObject().add("n", std::numeric_limits<double>::infinity()).line(), R"({"n": null})");
}

TEST(Series, GivesPercentiles) {
    Series series;
    EXPECT_EQ(series.json(), "null");
    for (const double value : {30.0, 10.0, 20.0, 40.0}) series.add(value);
    EXPECT_EQ(series.percentile(0.5), 20);
    EXPECT_EQ(series.percentile(0.95), 40);
    EXPECT_EQ(series.percentile(0), 10);
}

TEST(Statistics, MeasuresFromTheFirstByteToTheEye) {
    Statistics statistics;
    statistics.linkAccepted(kStart);
    for (int i = 0; i < 5; ++i) {
        const Moment arrival = kStart + 100ms + i * 33ms;
        statistics.shown(timesAt(arrival, static_cast<uint64_t>(i) * 33000), arrival + 8ms);
    }
    const std::string json = statistics.summary("hi", {10, 20});
    EXPECT_THAT(json, HasSubstr(R"("latencyMs": {"p50": 8.000, "p95": 8.000, "p99": 8.000, "max": 8.000})"));
    EXPECT_THAT(json, HasSubstr(R"("lagMs": {"p50": 0.000, "p95": 0.000, "p99": 0.000, "max": 0.000})"));
    EXPECT_THAT(json, HasSubstr(R"("firstFrameMs": 108.000)"));
    EXPECT_THAT(json, HasSubstr(R"("maxGapMs": 33.000)"));
    EXPECT_THAT(json, HasSubstr(R"("fps": 30.303)"));
    EXPECT_THAT(json, HasSubstr(R"("greeting": "hi")"));
    EXPECT_THAT(json, HasSubstr(R"("panel": "10x20")"));
}

TEST(Statistics, ThePauseBetweenTwoLinksIsNoGap) {
    Statistics statistics;
    for (const Moment accepted : {kStart, kStart + 60s}) {
        statistics.linkAccepted(accepted);
        statistics.shown(timesAt(accepted + 10ms, 0), accepted + 10ms);
        statistics.shown(timesAt(accepted + 30ms, 20000), accepted + 30ms);
    }
    const std::string json = statistics.summary("", {});
    EXPECT_THAT(json, HasSubstr(R"("maxGapMs": 20.000)"));
    EXPECT_THAT(json, HasSubstr(R"("secondsShowing": 0.040)"));
    EXPECT_THAT(json, HasSubstr(R"("connections": 2)"));
}

TEST(Statistics, ReportedDropsCountPerLinkAndAddUp) {
    Statistics statistics;
    statistics.linkAccepted(kStart);
    statistics.drops(3);
    statistics.drops(5);
    statistics.linkAccepted(kStart);
    statistics.drops(2);
    EXPECT_THAT(statistics.summary("", {}), HasSubstr(R"("dropsReported": 7)"));
}

TEST(Statistics, AbsurdPresentationTimesDoNoHarm) {
    Statistics statistics;
    statistics.linkAccepted(kStart);
    statistics.shown(timesAt(kStart, std::numeric_limits<uint64_t>::max()), kStart);
    statistics.shown(timesAt(kStart, 0), kStart);
    EXPECT_THAT(statistics.summary("", {}), HasSubstr(R"("framesShown": 2)"));
}

TEST(Statistics, TheOverlayShowsTheLastSecond) {
    Statistics statistics;
    statistics.linkAccepted(kStart);
    for (int i = 0; i < 60; ++i) {
        const Moment arrival = kStart + i * 50ms;
        statistics.shown(timesAt(arrival, 0), arrival + 6ms);
    }
    const Statistics::Live live = statistics.live(kStart + 59 * 50ms + 6ms);
    EXPECT_EQ(live.fps, 21);
    EXPECT_EQ(live.latencyMs, 6);
    EXPECT_EQ(live.decodeMs, 3);
    EXPECT_EQ(statistics.live(kStart + 60s).fps, 0);
}

TEST(Statistics, MessagesAreCountedByName) {
    Statistics statistics;
    statistics.message(2);
    statistics.message(2);
    statistics.message(13);
    const std::string json = statistics.summary("", {});
    EXPECT_THAT(json, HasSubstr(R"("messages": {"type13": 1, "videoFrame": 2})"));
    EXPECT_THAT(json, HasSubstr(R"("framesReceived": 2)"));
}

}  // namespace
}  // namespace quillon::device
