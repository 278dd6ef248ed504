#pragma once

#include <cstdint>
#include <memory>

#include "base/bytes.hpp"
#include "base/geometry.hpp"
#include "device/frame_order.hpp"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace quillon::device {

/// A decoded picture: planes Y, U, V of 8 bits, colour at half width and height, BT.601 limited range.
/// Its pixels never change.
class DecodedPicture {
  public:
    /// Takes the frame over.
    explicit DecodedPicture(AVFrame* frame) : frame_(frame) {}
    ~DecodedPicture();
    DecodedPicture(const DecodedPicture&) = delete;
    DecodedPicture& operator=(const DecodedPicture&) = delete;

    Size size() const;
    const uint8_t* plane(int index) const;
    int stride(int index) const;  ///< bytes

  private:
    AVFrame* frame_;
};

using DecodedPicturePtr = std::shared_ptr<const DecodedPicture>;

/// Decodes the H.264 stream of one link, each frame as soon as it is there. One thread.
class VideoDecoder {
  public:
    VideoDecoder();  ///< throws std::runtime_error without an H.264 decoder
    ~VideoDecoder();
    VideoDecoder(const VideoDecoder&) = delete;
    VideoDecoder& operator=(const VideoDecoder&) = delete;

    struct Result {
        DecodedPicturePtr picture;      ///< null when nothing could be decoded
        bool failed = false;            ///< malformed bytes, a decoder error or damage in the picture
        bool missingReference = false;  ///< built on a frame that never came
    };

    /// Takes the parameter sets, length-prefixed; they hold from the next frame on. False when malformed.
    bool configure(ByteView parameterSets);

    /// Decodes one access unit, length-prefixed.
    Result decode(ByteView accessUnit);
    /// Takes one as `decode` does, but leaves it undecoded.
    Result pass(ByteView accessUnit);

    /// The bytes of the last access unit as they belong into an Annex B file, parameter sets included.
    ByteView lastAnnexB() const { return packetBytes_; }

  private:
    void takePicture(Result& result);

    AVCodecContext* context_;
    AVPacket* packet_;
    FrameOrder order_;
    Bytes parameterSets_;  ///< Annex B, waiting for the next frame
    Bytes packetBytes_;
};

}  // namespace quillon::device
