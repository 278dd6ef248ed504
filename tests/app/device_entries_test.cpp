#include "app/device_entries.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace quillon {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceEntriesTest : public testing::Test {
  protected:
    std::vector<DeviceEntry> entries() const {
        return deviceEntries(found_, [this](const std::string& udid) -> std::optional<std::string> {
            const auto model = models_.find(udid);
            return model == models_.end() ? std::nullopt : std::optional(model->second);
        });
    }
    std::vector<std::string> labels() const {
        std::vector<std::string> labels;
        for (const DeviceEntry& entry : entries()) labels.push_back(logLabel(entry));
        return labels;
    }

    FoundDevices found_;
    std::map<std::string, std::string> models_;
};

TEST_F(DeviceEntriesTest, NothingFoundIsAnEmptyList) {
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(DeviceEntriesTest, UsbDevicesComeFirstInTheirOrder) {
    found_.endpoints = {{"10.0.0.2", 5555, "Studio", std::nullopt}};
    found_.udids = {"tablet-2", "tablet-1"};
    EXPECT_THAT(labels(),
                ElementsAre("Quillon on …blet-2 [usb]", "Quillon on …blet-1 [usb]", "Studio [wifi]"));
}

TEST_F(DeviceEntriesTest, ADeviceListedTwiceIsOneDevice) {
    found_.udids = {"tablet-1", "tablet-1"};
    EXPECT_EQ(entries().size(), 1u);
}

TEST_F(DeviceEntriesTest, AnEndpointOfTheSameModelJoinsTheUsbDevice) {
    found_.udids = {"tablet-1"};
    found_.endpoints = {{"10.0.0.2", 5555, "Anna's tablet", "Tablet13,8"}};
    models_["tablet-1"] = "Tablet13,8";
    EXPECT_THAT(entries(), ElementsAre(DeviceEntry{"Anna's tablet", "tablet-1", "10.0.0.2", "Tablet13,8"}));
}

TEST_F(DeviceEntriesTest, AnUnknownOrOtherModelStaysApart) {
    found_.udids = {"tablet-1"};
    found_.endpoints = {{"10.0.0.2", 5555, "A", "Tablet13,8"}, {"10.0.0.3", 5555, "B", std::nullopt}};
    EXPECT_EQ(entries().size(), 3u) << "the cabled device was never connected";
    models_["tablet-1"] = "Tablet8,1";
    EXPECT_EQ(entries().size(), 3u);
}

TEST_F(DeviceEntriesTest, TwoDevicesOfOneModelAreNotGuessedAt) {
    found_.udids = {"tablet-1"};
    found_.endpoints = {{"10.0.0.2", 5555, "A", "Tablet13,8"}, {"10.0.0.3", 5555, "B", "Tablet13,8"}};
    models_["tablet-1"] = "Tablet13,8";
    EXPECT_EQ(entries().size(), 3u);

    found_.endpoints.pop_back();
    found_.udids = {"tablet-1", "tablet-2"};
    models_["tablet-2"] = "Tablet13,8";
    EXPECT_EQ(entries().size(), 3u);
}

TEST_F(DeviceEntriesTest, ADeviceAnnouncedOnTwoAddressesIsOneDevice) {
    found_.udids = {"tablet-1"};
    found_.endpoints = {{"10.0.0.2", 5555, "A", "Tablet13,8"}, {"192.168.1.2", 5555, "A", "Tablet13,8"}};
    models_["tablet-1"] = "Tablet13,8";
    EXPECT_THAT(entries(), ElementsAre(DeviceEntry{"A", "tablet-1", "10.0.0.2", "Tablet13,8"}))
        << "the address that resolved first";
}

TEST_F(DeviceEntriesTest, TheNetworkOfTheCableBelongsToTheOneCabledDevice) {
    found_.udids = {"tablet-1"};
    found_.endpoints = {{"169.254.3.4", 5555, "A", std::nullopt}};
    EXPECT_THAT(entries(), ElementsAre(DeviceEntry{"A", "tablet-1", "169.254.3.4", std::nullopt}));
    found_.udids.push_back("tablet-2");
    EXPECT_EQ(entries().size(), 3u) << "which of the two is not known";
}

TEST_F(DeviceEntriesTest, ADeviceWithoutANameIsCalledByItsModelOrIdentifier) {
    found_.udids = {"tablet-1", "00008103-000C15290A01001E", "x"};
    found_.endpoints = {{"10.0.0.2", 5555, "", std::nullopt}, {"10.0.0.3", 5555, "", "Tablet8,1"}};
    models_["tablet-1"] = "Tablet13,8";
    EXPECT_THAT(labels(),
                ElementsAre("Quillon on Tablet13,8 [usb]", "Quillon on …01001E [usb]", "Quillon on x [usb]",
                            "Quillon on 10.0.0.2 [wifi]", "Quillon on Tablet8,1 [wifi]"));
}

TEST_F(DeviceEntriesTest, DevicesOfTheSameNameAreToldApart) {
    found_.udids = {"tablet-000001", "tablet-000002"};
    models_["tablet-000001"] = models_["tablet-000002"] = "Tablet13,8";
    found_.endpoints = {{"10.0.0.2", 5555, "iPad", std::nullopt}, {"10.0.0.3", 5555, "iPad", std::nullopt}};
    EXPECT_THAT(labels(),
                ElementsAre("Quillon on Tablet13,8 (…000001) [usb]", "Quillon on Tablet13,8 (…000002) [usb]",
                            "iPad (10.0.0.2) [wifi]", "iPad (10.0.0.3) [wifi]"));
}

TEST(DeviceEntryTest, ItsLinksAreNamed) {
    const DeviceEntry both{"A", "u", "h", {}};
    const DeviceEntry usb{"A", "u", {}, {}};
    const DeviceEntry wifi{"A", {}, "h", {}};
    EXPECT_EQ(logLabel(both), "A [usb+wifi]");
    EXPECT_EQ(logLabel(usb), "A [usb]");
    EXPECT_EQ(logLabel(wifi), "A [wifi]");
    EXPECT_EQ(logLabel({"A", {}, {}, {}}), "A [?]");
    EXPECT_EQ(linksText(both), "USB + Wi-Fi");
    EXPECT_EQ(linksText(usb), "USB only");
    EXPECT_EQ(linksText(wifi), "Wi-Fi only");
}

TEST(DeviceEntryTest, AChoiceComesBackAsTheTarget) {
    EXPECT_EQ(choiceText({"A", "u", "h", {}}), "u|h");
    EXPECT_EQ(choiceText({"A", "u", {}, {}}), "u|");
    EXPECT_EQ(choiceText({"A", {}, "h", {}}), "|h");
    EXPECT_EQ(targetOf("u|h"), (Settings::Target{"u", "h"}));
    EXPECT_EQ(targetOf("u|"), (Settings::Target{"u", std::nullopt}));
    EXPECT_EQ(targetOf("|h"), (Settings::Target{std::nullopt, "h"}));
    EXPECT_TRUE(targetOf("").isAutomatic());
    EXPECT_TRUE(targetOf("|").isAutomatic());
}

TEST(DeviceEntryTest, OneCommonLinkIsEnoughToBeTheTarget) {
    const DeviceEntry entry{"A", "u", "h", {}};
    EXPECT_TRUE(isTarget(entry, {"u", std::nullopt}));
    EXPECT_TRUE(isTarget(entry, {"u", "other"}));
    EXPECT_TRUE(isTarget(entry, {std::nullopt, "h"}));
    EXPECT_FALSE(isTarget(entry, {"other", std::nullopt}));
    EXPECT_FALSE(isTarget(entry, {}));
    EXPECT_FALSE(isTarget({"B", {}, "h2", {}}, {}));
}

}  // namespace
}  // namespace quillon
