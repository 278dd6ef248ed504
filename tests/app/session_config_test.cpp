#include "app/session_config.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

SessionConfig configOf(std::vector<std::string> words) {
    words.insert(words.begin(), "QuillonHost");
    return sessionConfig(Options::parse(words));
}

TEST(SessionConfigTest, NoArgumentsGiveTheDefaults) {
    const SessionConfig config = configOf({});
    EXPECT_EQ(config.udid, "");
    EXPECT_EQ(config.port, 5555);
    EXPECT_EQ(config.width, 2048);
    EXPECT_EQ(config.height, 1536);
    EXPECT_EQ(config.fps, 30);
    EXPECT_EQ(config.bitrate, 12000000);
    EXPECT_EQ(config.wifiBitrate, 8000000);
    EXPECT_FALSE(config.pace);
    EXPECT_EQ(config.keyframeSeconds, 2);
    EXPECT_EQ(config.smoothness, 0);
    EXPECT_TRUE(config.showOverlay);
    EXPECT_EQ(config.scaling, Scaling::fit);
    EXPECT_FALSE(config.scalingExplicit);
    EXPECT_EQ(config.quality, StreamQuality::best);
    EXPECT_EQ(config.qualityUSB, StreamQuality::best);
    EXPECT_EQ(config.qualityWiFi, StreamQuality::fast);
    EXPECT_EQ(config.smoothUSB, 0);
    EXPECT_EQ(config.smoothWiFi, 3);
    EXPECT_FALSE(config.usePattern);
    EXPECT_TRUE(config.virtual_);
    EXPECT_EQ(config.position, "right");
    EXPECT_EQ(config.virtualWidth, 1024);
    EXPECT_EQ(config.virtualHeight, 768);
    EXPECT_TRUE(config.showCursor);
    EXPECT_EQ(config.duration, 0);
    EXPECT_FALSE(config.mirror);
    EXPECT_FALSE(config.stretchMirror);
    EXPECT_EQ(config.displayIndex, 0);
    EXPECT_EQ(config.tcpHost, std::nullopt);
    EXPECT_EQ(config.targetUDID, std::nullopt);
    EXPECT_EQ(config.targetHost, std::nullopt);
    EXPECT_EQ(config.tcpPort, 5555);
    EXPECT_EQ(config.transport, Transport::usb);
    EXPECT_EQ(config.wifiHost, std::nullopt);
}

TEST(SessionConfigTest, EveryOptionArrives) {
    const SessionConfig config = configOf({"--udid",
                                           "u",
                                           "--port",
                                           "1",
                                           "--width",
                                           "2",
                                           "--height",
                                           "3",
                                           "--fps",
                                           "4",
                                           "--bitrate",
                                           "5",
                                           "--wifi-bitrate",
                                           "6",
                                           "--pace",
                                           "--keyframe",
                                           "7",
                                           "--smoothness",
                                           "8",
                                           "--position",
                                           "left",
                                           "--virtual-size",
                                           "9x10",
                                           "--no-cursor",
                                           "--pattern",
                                           "--seconds",
                                           "11",
                                           "--display",
                                           "12",
                                           "--physical",
                                           "--mirror",
                                           "--transport",
                                           "auto"});
    EXPECT_EQ(config.udid, "u");
    EXPECT_EQ(config.port, 1);
    EXPECT_EQ(config.width, 2);
    EXPECT_EQ(config.height, 3);
    EXPECT_EQ(config.fps, 4);
    EXPECT_EQ(config.bitrate, 5);
    EXPECT_EQ(config.wifiBitrate, 6);
    EXPECT_TRUE(config.pace);
    EXPECT_EQ(config.keyframeSeconds, 7);
    EXPECT_EQ(config.smoothness, 8);
    EXPECT_EQ(config.position, "left");
    EXPECT_EQ(config.virtualWidth, 9);
    EXPECT_EQ(config.virtualHeight, 10);
    EXPECT_FALSE(config.showCursor);
    EXPECT_TRUE(config.usePattern);
    EXPECT_EQ(config.duration, 11);
    EXPECT_EQ(config.displayIndex, 12);
    EXPECT_FALSE(config.virtual_);
    EXPECT_TRUE(config.mirror);
    EXPECT_EQ(config.transport, Transport::auto_);
    // What the command line has no option for stays.
    EXPECT_EQ(config.smoothUSB, 0);
    EXPECT_EQ(config.smoothWiFi, 3);
    EXPECT_EQ(config.tcpPort, 5555);
}

TEST(SessionConfigTest, TransportIsComparedExactly) {
    EXPECT_EQ(configOf({"--transport", "wifi"}).transport, Transport::wifi);
    for (const char* other : {"WIFI", "Auto", "", "tcp", " usb"}) {
        EXPECT_EQ(configOf({"--transport", other}).transport, Transport::usb) << other;
    }
}

TEST(SessionConfigTest, TcpTakesHostAndPort) {
    const SessionConfig config = configOf({"--tcp", "10.0.0.2:7000"});
    EXPECT_EQ(config.tcpHost, "10.0.0.2");
    EXPECT_EQ(config.tcpPort, 7000);
    EXPECT_TRUE(config.mirror);
    EXPECT_FALSE(config.virtual_);
    EXPECT_EQ(config.port, 5555);
    // Empty pieces do not count.
    EXPECT_EQ(configOf({"--tcp", ":host::1:"}).tcpHost, "host");
    EXPECT_EQ(configOf({"--tcp", "host:0"}).tcpPort, 0);
}

TEST(SessionConfigTest, AMalformedTcpStillMirrors) {
    for (const char* bad : {"10.0.0.2", "", ":", ":7000", "host:", "host:70000", "host:-1", "host:x", "a:b:1",
                            "[::1]:7000", "::1:80:90"}) {
        const SessionConfig config = configOf({"--tcp", bad});
        EXPECT_EQ(config.tcpHost, std::nullopt) << bad;
        EXPECT_EQ(config.tcpPort, 5555) << bad;
        EXPECT_TRUE(config.mirror) << bad;
        EXPECT_FALSE(config.virtual_) << bad;
    }
}

}  // namespace
}  // namespace quillon
