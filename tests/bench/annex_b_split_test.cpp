#include "bench/annex_b_split.hpp"

#include <gmock/gmock.h>

namespace quillon::bench {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(AnnexBSplit, FindsPicturesOfSeveralSlices) {
    const Bytes stream{0, 0, 0, 1,    0x67, 7,     // SPS
                       0, 0, 1, 0x68, 8,           // PPS
                       0, 0, 1, 0x65, 0x80,        // first slice of a key frame
                       0, 0, 1, 0x65, 0x40,        // its second slice
                       0, 0, 0, 1,    0x41, 0x9A,  // next picture
                       0, 0, 1, 0x06, 5,           // SEI of the third
                       0, 0, 1, 0x41, 0x88};
    const auto units = splitAnnexB(stream);
    ASSERT_THAT(units, SizeIs(3));
    EXPECT_THAT(units[0].parameterSets, ElementsAre(0, 0, 0, 2, 0x67, 7, 0, 0, 0, 2, 0x68, 8));
    EXPECT_THAT(units[0].slices, ElementsAre(0, 0, 0, 2, 0x65, 0x80, 0, 0, 0, 2, 0x65, 0x40));
    EXPECT_EQ(units[0].end, 21U);
    EXPECT_THAT(units[1].slices, ElementsAre(0, 0, 0, 2, 0x41, 0x9A));
    EXPECT_EQ(units[1].end, 27U);
    EXPECT_THAT(units[2].slices, ElementsAre(0, 0, 0, 2, 0x06, 5, 0, 0, 0, 2, 0x41, 0x88));
    EXPECT_EQ(units[2].end, stream.size());
}

TEST(AnnexBSplit, FindsNothingInNothing) {
    EXPECT_THAT(splitAnnexB({}), IsEmpty());
    EXPECT_THAT(splitAnnexB(Bytes{1, 2, 3, 0, 0}), IsEmpty());
    EXPECT_THAT(splitAnnexB(Bytes{0, 0, 1}), IsEmpty());
}

}  // namespace
}  // namespace quillon::bench
