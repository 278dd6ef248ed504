#include "platform/linux/x11_spare_output.hpp"

#include <gtest/gtest.h>

namespace quillon::testing {
namespace {

TEST(SpareOutputTest, RanksOutputs) {
    struct Row {
        OutputFacts facts;
        std::optional<SpareRank> rank;
    };
    const auto output = [](const char* name, const char* traits) {
        const std::string_view t(traits);
        const auto has = [t](char trait) { return t.find(trait) != t.npos; };
        return OutputFacts{name, has('o'), has('c'), has('e'), !has('n')};
    };
    // o: on, c: connected, e: has an EDID, n: nothing is free to drive it
    const Row rows[] = {
        {output("DUMMY1", ""), SpareRank::virtualHead},
        {output("DUMMY1", "c"), SpareRank::virtualHead},
        {output("VIRTUAL1", ""), SpareRank::virtualHead},
        {output("Virtual-2", "c"), SpareRank::virtualHead},
        {output("Virtual-1", "o"), std::nullopt},
        {output("Virtual-1", "ce"), std::nullopt},
        {output("DUMMY1", "n"), std::nullopt},
        {output("HDMI-A-2", "c"), SpareRank::forced},
        {output("HDMI-1", "ce"), std::nullopt},
        {output("eDP-1", "oce"), std::nullopt},
        {output("DVI-I-1-1", ""), SpareRank::secondCard},
        {output("DVI-I-1-1", "ce"), std::nullopt},
        {output("DVI-I-1", ""), SpareRank::disconnected},
        {output("DP-2", ""), SpareRank::disconnected},
        {output("DP-2", "n"), std::nullopt},
        {output("", ""), SpareRank::disconnected},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(spareRank(row.facts), row.rank)
            << row.facts.name << " on " << row.facts.isOn << " connected " << row.facts.connected << " EDID "
            << row.facts.hasEdid;
    }
}

}  // namespace
}  // namespace quillon::testing
