#include "app/settings.hpp"

#include <gtest/gtest.h>

#include "platform/simulated/desktop.hpp"

namespace quillon {
namespace {

class SettingsTest : public testing::Test {
  protected:
    SessionConfig config(LinkKind link = LinkKind::usb, bool usePattern = false) const {
        return sessionConfig(settings_, link, usePattern);
    }

    simulated::SimulatedSettingsStore store_;
    const Settings settings_{store_};
    Settings writer_{store_};
};

TEST_F(SettingsTest, AFreshAccountHasTheDefaults) {
    EXPECT_EQ(settings_.transport(), Transport::auto_);
    EXPECT_EQ(settings_.quality(LinkKind::usb), StreamQuality::best);
    EXPECT_EQ(settings_.quality(LinkKind::wifi), StreamQuality::fast);
    EXPECT_EQ(settings_.smoothness(LinkKind::usb), 0);
    EXPECT_EQ(settings_.smoothness(LinkKind::wifi), 3);
    EXPECT_EQ(settings_.scaling(), Scaling::fit);
    EXPECT_FALSE(settings_.scalingIsExplicit());
    EXPECT_EQ(settings_.position(), "right");
    EXPECT_FALSE(settings_.mirror());
    EXPECT_FALSE(settings_.stretchMirror());
    EXPECT_EQ(settings_.resolutionWidth(), 1024);
    EXPECT_EQ(settings_.resolutionHeight(), 768);
    EXPECT_TRUE(settings_.showOverlay());
    EXPECT_FALSE(settings_.preventSleep());
    EXPECT_FALSE(settings_.hasAutoStart());
    EXPECT_FALSE(settings_.autoStart());
    EXPECT_TRUE(settings_.usePopover());
    EXPECT_EQ(settings_.wifiHost(), std::nullopt);
    EXPECT_TRUE(settings_.target().isAutomatic());
    EXPECT_TRUE(store_.values.empty()) << "reading writes nothing";
}

TEST_F(SettingsTest, AFreshAccountStartsWithTheInitialConfiguration) {
    const SessionConfig made = config();
    const SessionConfig initial;
    EXPECT_EQ(made.udid, "");
    EXPECT_EQ(made.port, 5555);
    EXPECT_EQ(made.width, 2048);
    EXPECT_EQ(made.height, 1536);
    EXPECT_EQ(made.fps, 30);
    EXPECT_EQ(made.bitrate, initial.bitrate);
    EXPECT_EQ(made.wifiBitrate, 8000000);
    EXPECT_FALSE(made.pace);
    EXPECT_EQ(made.keyframeSeconds, 2);
    EXPECT_TRUE(made.showOverlay);
    EXPECT_EQ(made.scaling, Scaling::fit);
    EXPECT_FALSE(made.scalingExplicit);
    EXPECT_EQ(made.quality, StreamQuality::best);
    EXPECT_EQ(made.qualityUSB, StreamQuality::best);
    EXPECT_EQ(made.qualityWiFi, StreamQuality::fast);
    EXPECT_EQ(made.smoothness, 0);
    EXPECT_EQ(made.smoothUSB, 0);
    EXPECT_EQ(made.smoothWiFi, 3);
    EXPECT_FALSE(made.usePattern);
    EXPECT_TRUE(made.virtual_);
    EXPECT_EQ(made.position, "right");
    EXPECT_EQ(made.virtualWidth, 1024);
    EXPECT_EQ(made.virtualHeight, 768);
    EXPECT_TRUE(made.showCursor);
    EXPECT_EQ(made.duration, 0);
    EXPECT_FALSE(made.mirror);
    EXPECT_FALSE(made.stretchMirror);
    EXPECT_EQ(made.displayIndex, 0);
    EXPECT_EQ(made.tcpHost, std::nullopt);
    EXPECT_EQ(made.targetUDID, std::nullopt);
    EXPECT_EQ(made.targetHost, std::nullopt);
    EXPECT_EQ(made.tcpPort, 5555);
    EXPECT_EQ(made.transport, Transport::auto_);
    EXPECT_EQ(made.wifiHost, std::nullopt);
}

TEST_F(SettingsTest, EveryChoiceReachesTheConfiguration) {
    writer_.setTransport(Transport::wifi);
    writer_.setQuality(LinkKind::usb, StreamQuality::balanced);
    writer_.setQuality(LinkKind::wifi, StreamQuality::best);
    writer_.setSmoothness(LinkKind::usb, 6);
    writer_.setSmoothness(LinkKind::wifi, 0);
    writer_.setScaling(Scaling::stretch);
    writer_.setPosition("above");
    writer_.setMirror(true);
    writer_.setResolution(1600, 1200);
    writer_.setShowOverlay(false);
    writer_.setWifiHost("10.0.0.9");
    writer_.setTarget({"tablet-1", "10.0.0.2"});
    store_.setBoolean("stretchMirror", true);

    const SessionConfig made = config(LinkKind::wifi, true);
    EXPECT_EQ(made.transport, Transport::wifi);
    EXPECT_EQ(made.qualityUSB, StreamQuality::balanced);
    EXPECT_EQ(made.qualityWiFi, StreamQuality::best);
    EXPECT_EQ(made.quality, StreamQuality::best);
    EXPECT_EQ(made.smoothUSB, 6);
    EXPECT_EQ(made.smoothWiFi, 0);
    EXPECT_EQ(made.smoothness, 0);
    EXPECT_EQ(made.scaling, Scaling::stretch);
    EXPECT_TRUE(made.scalingExplicit);
    EXPECT_EQ(made.position, "above");
    EXPECT_TRUE(made.mirror);
    EXPECT_TRUE(made.stretchMirror);
    EXPECT_EQ(made.virtualWidth, 1600);
    EXPECT_EQ(made.virtualHeight, 1200);
    EXPECT_FALSE(made.showOverlay);
    EXPECT_EQ(made.wifiHost, "10.0.0.9");
    EXPECT_EQ(made.targetUDID, "tablet-1");
    EXPECT_EQ(made.targetHost, "10.0.0.2");
    EXPECT_TRUE(made.usePattern);
}

TEST_F(SettingsTest, QualityAndSmoothnessFollowTheLink) {
    writer_.setQuality(LinkKind::usb, StreamQuality::balanced);
    writer_.setSmoothness(LinkKind::usb, 6);
    EXPECT_EQ(config(LinkKind::usb).quality, StreamQuality::balanced);
    EXPECT_EQ(config(LinkKind::usb).smoothness, 6);
    EXPECT_EQ(config(LinkKind::wifi).quality, StreamQuality::fast);
    EXPECT_EQ(config(LinkKind::wifi).smoothness, 3);
}

TEST_F(SettingsTest, AChoiceForOneLinkLeavesTheOtherAlone) {
    writer_.setQuality(LinkKind::wifi, StreamQuality::balanced);
    EXPECT_EQ(store_.string("quality.wifi"), "balanced");
    EXPECT_FALSE(store_.contains("quality.usb"));
    writer_.setSmoothness(LinkKind::usb, 3);
    EXPECT_EQ(store_.integer("smooth.usb"), 3);
    EXPECT_FALSE(store_.contains("smooth.wifi"));
}

TEST_F(SettingsTest, AnUnknownQualityFallsBackByLink) {
    store_.setString("quality.usb", "ultra");
    store_.setString("quality.wifi", "ultra");
    EXPECT_EQ(settings_.quality(LinkKind::usb), StreamQuality::best);
    EXPECT_EQ(settings_.quality(LinkKind::wifi), StreamQuality::fast);
    EXPECT_EQ(config().qualityUSB, StreamQuality::best);
    EXPECT_EQ(config().qualityWiFi, StreamQuality::fast);
}

TEST_F(SettingsTest, AnUnknownTransportIsAutomatic) {
    for (const char* text : {"", "USB", "bluetooth", "1"}) {
        store_.setString("transport", text);
        EXPECT_EQ(settings_.transport(), Transport::auto_) << text;
    }
    store_.setString("transport", "usb");
    EXPECT_EQ(settings_.transport(), Transport::usb);
}

TEST_F(SettingsTest, AnUnknownScalingFitsAndIsStillTheUsersChoice) {
    store_.setString("scaling", "zoom");
    EXPECT_EQ(config().scaling, Scaling::fit);
    EXPECT_TRUE(config().scalingExplicit);
}

TEST_F(SettingsTest, HalfAResolutionIsNone) {
    store_.setInteger("resolutionWidth", 1920);
    EXPECT_EQ(config().virtualWidth, 1024);
    EXPECT_EQ(config().virtualHeight, 768);
    EXPECT_EQ(settings_.resolutionWidth(), 1920);
    EXPECT_EQ(settings_.resolutionHeight(), 768);
    store_.setInteger("resolutionHeight", 0);
    EXPECT_EQ(config().virtualWidth, 1024);
    store_.setInteger("resolutionHeight", 1);
    EXPECT_EQ(config().virtualWidth, 1920);
    EXPECT_EQ(config().virtualHeight, 1);
}

TEST_F(SettingsTest, DamagedValuesReadAsDefaults) {
    store_.setString("smooth.usb", "many");
    store_.setString("smooth.wifi", "");
    store_.setString("resolutionWidth", "wide");
    store_.setInteger("resolutionHeight", -768);
    for (const char* key : {"mirror", "stretchMirror", "showOverlay", "popoverUI", "preventSleep"}) {
        store_.setString(key, "maybe");
    }
    EXPECT_EQ(settings_.smoothness(LinkKind::usb), 0);
    EXPECT_EQ(settings_.smoothness(LinkKind::wifi), 3);
    EXPECT_EQ(settings_.resolutionWidth(), 1024);
    EXPECT_EQ(settings_.resolutionHeight(), 768);
    EXPECT_EQ(settings_.resolution().has_value(), false);
    EXPECT_FALSE(settings_.mirror());
    EXPECT_FALSE(settings_.stretchMirror());
    EXPECT_TRUE(settings_.showOverlay());
    EXPECT_TRUE(settings_.usePopover());
    EXPECT_FALSE(settings_.preventSleep());
}

TEST_F(SettingsTest, AStoredZeroIsNoMissingNumber) {
    writer_.setSmoothness(LinkKind::wifi, 0);
    EXPECT_EQ(settings_.smoothness(LinkKind::wifi), 0);
}

TEST_F(SettingsTest, AutomaticRemovesBothHalvesOfTheTarget) {
    writer_.setTarget({"tablet-1", "10.0.0.2"});
    EXPECT_EQ(settings_.target(), (Settings::Target{"tablet-1", "10.0.0.2"}));
    writer_.setTarget({std::nullopt, "10.0.0.3"});
    EXPECT_FALSE(store_.contains("target.udid"));
    writer_.setTarget({});
    EXPECT_FALSE(store_.contains("target.host"));
    EXPECT_TRUE(settings_.target().isAutomatic());
}

TEST_F(SettingsTest, TheModelOfADeviceIsRemembered) {
    store_.setString("deviceModel.tablet-1", "Tablet13,8");
    EXPECT_EQ(settings_.modelOf("tablet-1"), "Tablet13,8");
    EXPECT_EQ(settings_.modelOf("tablet-2"), std::nullopt);
}

TEST(SettingsValueTest, TruthValuesAreReadGenerously) {
    for (const char* text : {"true", "TRUE", "Yes", "1"}) EXPECT_EQ(parseBoolean(text), true) << text;
    for (const char* text : {"false", "False", "NO", "0"}) EXPECT_EQ(parseBoolean(text), false) << text;
    for (const char* text : {"", "2", "truely", "tru", " true", "on"}) {
        EXPECT_EQ(parseBoolean(text), std::nullopt) << text;
    }
}

TEST(SettingsValueTest, EveryValueHasAText) {
    EXPECT_EQ(textOf(SettingsValue{true}), "true");
    EXPECT_EQ(textOf(SettingsValue{int64_t{-3}}), "-3");
    EXPECT_EQ(textOf(SettingsValue{std::string("x")}), "x");
}

}  // namespace
}  // namespace quillon
