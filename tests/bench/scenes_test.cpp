#include "bench/scenes.hpp"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "device/counter_barcode.hpp"

namespace quillon::bench {
namespace {

constexpr SceneFormat kFormat{{1024, 640}, 30};

std::vector<uint32_t> pixelsOf(const Sheet& sheet) {
    return {sheet.pixels, sheet.pixels + sheet.size.width * sheet.size.height};
}

class Scenes : public testing::TestWithParam<std::string> {
  protected:
    std::vector<uint32_t> fresh(uint32_t index) {
        HeapSheets store;
        const Sheet picture = store.make(kFormat.size);
        SheetSurface surface(picture);
        makeMarkedScene(GetParam(), kFormat, store)->draw(index, std::nullopt, surface);
        return pixelsOf(picture);
    }
};

TEST_P(Scenes, LookTheSameWhateverWasDrawnBefore) {
    HeapSheets store;
    const Sheet picture = store.make(kFormat.size);
    SheetSurface surface(picture);
    const auto scene = makeMarkedScene(GetParam(), kFormat, store);
    std::optional<uint32_t> shown;
    for (const uint32_t index : {0U, 1U, 2U, 5U, 40U, 3000U, 7U}) {
        if (scene->rate() == 0 && index > 0) break;
        scene->draw(index, shown, surface);
        EXPECT_TRUE(pixelsOf(picture) == fresh(index)) << "picture " << index;
        shown = index;
    }
}

TEST_P(Scenes, ShowTheirIndexAsABarcode) {
    for (const uint32_t index : {0U, 1U, 259U, 0x80000001U}) {
        std::vector<uint8_t> luma;
        for (const uint32_t pixel : fresh(index))
            luma.push_back(static_cast<uint8_t>(16 + (pixel >> 8 & 0xFF) * 219 / 255));
        const barcode::Luma plane{luma.data(), kFormat.size.width, kFormat.size.width, kFormat.size.height};
        EXPECT_EQ(barcode::read(plane, 1), index);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Scenes,
                         testing::Values("still", "caret", "typing", "scroll", "drag", "video", "motion"),
                         [](const auto& chosen) { return chosen.param; });

TEST(SceneNames, MayBeUnknown) {
    HeapSheets store;
    EXPECT_EQ(makeMarkedScene("nothing", kFormat, store), nullptr);
}

TEST(SceneSizes, MustHaveRoomForTheBarcode) {
    HeapSheets store;
    EXPECT_THROW(makeMarkedScene("still", {{640, 480}, 30}, store), std::invalid_argument);
}

}  // namespace
}  // namespace quillon::bench
