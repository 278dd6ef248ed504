#include "media/h264_encoder.hpp"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/linux/run_loop.hpp"
#include "platform/linux/x264_encoder.hpp"
#include "tests/linux/x264_test_support.hpp"

// The encoder of a stream over the one that really encodes.

namespace quillon {
namespace {

TEST(H264EncoderOverX264, AfterInvalidateNothingIsEncoded) {
    LinuxRunLoop clock;
    std::atomic<int> records = 0;
    std::atomic<int> frames = 0;
    H264Encoder encoder(
        [&](const EncoderSettings& settings, EncoderCallbacks callbacks) {
            return makeX264Encoder(settings, std::move(callbacks), clock);
        },
        64, 64, 30, 1'000'000, 2);
    encoder.onConfig = [&](ByteView) { ++records; };
    encoder.onFrame = [&](ByteView, uint64_t) { ++frames; };
    auto show = [&, sequence = uint64_t{0}](uint64_t time) mutable {
        const auto picture = x264_test::makeI420(64, 64);
        picture->sequence = ++sequence;
        picture->damage = {{0, 0, 64, 64}};
        encoder.encode(picture, time);
    };
    EXPECT_TRUE(encoder.acceptsPicture());
    show(5);
    encoder.invalidate();
    EXPECT_EQ(records, 1);
    EXPECT_EQ(frames, 1) << "what waited is encoded still";

    show(40'000);
    EXPECT_FALSE(encoder.acceptsPicture());
    encoder.invalidate();
    EXPECT_EQ(records, 1);
    EXPECT_EQ(frames, 1);
}

}  // namespace
}  // namespace quillon
