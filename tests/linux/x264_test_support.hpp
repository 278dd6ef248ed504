#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/bytes.hpp"
#include "platform/picture.hpp"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace quillon::x264_test {

/// A picture of format i420 that owns its planes.
std::shared_ptr<Picture> makeI420(int width, int height);

/// A desktop-like drawing: flat areas, and fine lines like text that depend on `seed`.
void drawText(Picture& picture, const PixelRect& where, uint32_t seed);
/// Noise that no encoder predicts, different for each seed.
void drawNoise(Picture& picture, const PixelRect& where, uint32_t seed);

/// Peak signal-to-noise ratio over all planes, in decibels; 99 when equal.
double psnr(const Picture& a, const Picture& b);

/// The reference decoder, strict: any complaint counts as an error.
class Decoder {
  public:
    Decoder(ByteView sps, ByteView pps);
    ~Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// Decodes one frame of length-prefixed NAL units; null when no picture came of it at once.
    std::shared_ptr<Picture> decode(ByteView frame);
    int errors() const { return errors_; }
    /// Of the frame decoded last.
    bool wasKey() const { return wasKey_; }

  private:
    AVCodecContext* context_;
    AVFrame* frame_;
    AVPacket* packet_;
    Bytes annexB_;
    Bytes parameterSets_;
    int errors_ = 0;
    bool wasKey_ = false;
};

/// The NAL unit types in a frame of length-prefixed units; empty when the lengths do not add up.
std::vector<int> unitTypes(ByteView frame);

}  // namespace quillon::x264_test
