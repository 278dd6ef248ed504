#include "platform/linux/x264_session.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "platform/linux/x264_change_map.hpp"
#include "tests/linux/x264_test_support.hpp"

namespace quillon {
namespace {

using x264_test::Decoder;
using x264_test::makeI420;
using x264_test::psnr;
using FrameType = X264Session::FrameType;
using Search = X264Session::Search;

constexpr EncoderSettings kSettings{
    .width = 320, .height = 240, .fps = 30, .bitrate = 4'000'000, .keyframeSeconds = 2};

/// Text that scrolls up by `step` pixels with each picture.
class ScrollingText {
  public:
    explicit ScrollingText(int step) : step_(step) {
        x264_test::drawText(*page_, {0, 0, page_->width, page_->height}, 1);
    }

    std::shared_ptr<Picture> next() {
        auto picture = makeI420(kSettings.width, kSettings.height);
        for (size_t i = 0; i < picture->planes.size(); ++i) {
            const Picture::Plane& from = page_->planes[i];
            const int top = i == 0 ? top_ : top_ / 2;
            const int height = i == 0 ? picture->height : picture->height / 2;
            std::copy_n(from.data + static_cast<ptrdiff_t>(top) * from.stride,
                        static_cast<size_t>(height) * from.stride, picture->planes[i].data);
        }
        top_ += step_;
        return picture;
    }

  private:
    const int step_;
    int top_ = 0;
    const std::shared_ptr<Picture> page_ = makeI420(kSettings.width, 4 * kSettings.height);
};

/// A session and the decoder of its stream.
class Stream {
  public:
    /// Bytes of the frame; fails when it does not decode to its picture.
    size_t show(const Picture& picture, Search search) {
        session_.setSearch(search);
        ChangeMap changes(kSettings.width, kSettings.height);
        changes.markAll();
        const auto type = std::exchange(type_, FrameType::delta);
        const auto frame = session_.encode(picture.planes, type, 20, changes.constancy());
        EXPECT_EQ(frame.status, 0);
        const size_t bytes = frame.data.size();
        const auto shown = decoder_.decode(frame.data);
        EXPECT_TRUE(shown && psnr(*shown, picture) > 30);
        EXPECT_EQ(decoder_.errors(), 0);
        return bytes;
    }

  private:
    X264Session session_{kSettings};
    Decoder decoder_{session_.sps(), session_.pps()};
    FrameType type_ = FrameType::key;
};

size_t bytesOfFirstStep(Search search) {
    Stream stream;
    ScrollingText text(18);
    stream.show(*text.next(), search);
    return stream.show(*text.next(), search);
}

TEST(X264SessionTest, AWideSearchFindsTextThatScrolls) {
    EXPECT_LT(bytesOfFirstStep(Search::wide), bytesOfFirstStep(Search::near));
}

TEST(X264SessionTest, TheSearchMayChangeWithinAStream) {
    Stream stream;
    ScrollingText text(18);
    for (const Search search : {Search::wide, Search::near, Search::near, Search::wide, Search::near})
        stream.show(*text.next(), search);
}

}  // namespace
}  // namespace quillon
