#include "base/stream_types.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

TEST(StreamTypesTest, RawValuesAreComparedWhole) {
    EXPECT_EQ(parseStreamQuality("best"), StreamQuality::best);
    EXPECT_EQ(parseStreamQuality("balanced"), StreamQuality::balanced);
    EXPECT_EQ(parseStreamQuality("fast"), StreamQuality::fast);
    EXPECT_EQ(parseScaling("fit"), Scaling::fit);
    EXPECT_EQ(parseScaling("fill"), Scaling::fill);
    EXPECT_EQ(parseScaling("stretch"), Scaling::stretch);
    EXPECT_EQ(parseTransport("usb"), Transport::usb);
    EXPECT_EQ(parseTransport("wifi"), Transport::wifi);
    EXPECT_EQ(parseTransport("auto"), Transport::auto_);
    for (const char* other :
         {"", "Best", "Balanced", " balanced", "balanced ", "fas", "fast\n", "USB", "auto_"}) {
        EXPECT_EQ(parseStreamQuality(other), std::nullopt) << other;
        EXPECT_EQ(parseScaling(other), std::nullopt) << other;
        EXPECT_EQ(parseTransport(other), std::nullopt) << other;
    }
}

TEST(StreamTypesTest, EveryChoicePrintsWhatItIsParsedFrom) {
    for (const auto& names : kStreamQualities) {
        EXPECT_EQ(rawValue(names.value), names.rawValue);
        EXPECT_EQ(parseStreamQuality(names.rawValue), names.value);
    }
    for (const auto& names : kScalings) {
        EXPECT_EQ(rawValue(names.value), names.rawValue);
        EXPECT_EQ(parseScaling(names.rawValue), names.value);
    }
    for (const auto& names : kTransports) {
        EXPECT_EQ(rawValue(names.value), names.rawValue);
        EXPECT_EQ(parseTransport(names.rawValue), names.value);
    }
}

TEST(StreamTypesTest, LabelsAndLogNames) {
    EXPECT_EQ(namesOf(StreamQuality::best).label, "Best — full detail");
    EXPECT_EQ(namesOf(StreamQuality::balanced).label, "Balanced — 75% raster");
    EXPECT_EQ(namesOf(StreamQuality::fast).label, "Fast — 50%, best for Wi-Fi");
    EXPECT_EQ(namesOf(StreamQuality::best).logName, "Best");
    EXPECT_EQ(namesOf(StreamQuality::balanced).logName, "Balanced");
    EXPECT_EQ(namesOf(StreamQuality::fast).logName, "Fast");
    EXPECT_EQ(namesOf(Scaling::fit).label, "Fit — whole screen, bars where shapes differ");
    EXPECT_EQ(namesOf(Scaling::fill).label, "Fill — crop to the panel, loses edges");
    EXPECT_EQ(namesOf(Scaling::stretch).label, "Stretch — fills, distorted");
    EXPECT_EQ(namesOf(Transport::usb).label, "USB (cable)");
    EXPECT_EQ(namesOf(Transport::wifi).label, "Wi-Fi");
    EXPECT_EQ(namesOf(Transport::auto_).label, "Auto (prefer USB)");
}

TEST(StreamTypesTest, RasterAndBitRateOfEachQuality) {
    EXPECT_EQ(rasterFraction(StreamQuality::best), 1.0);
    EXPECT_EQ(rasterFraction(StreamQuality::balanced), 0.75);
    EXPECT_EQ(rasterFraction(StreamQuality::fast), 0.5);
    EXPECT_EQ(bitrateOf(StreamQuality::best), 18000000);
    EXPECT_EQ(bitrateOf(StreamQuality::balanced), 10000000);
    EXPECT_EQ(bitrateOf(StreamQuality::fast), 6000000);
}

}  // namespace
}  // namespace quillon
