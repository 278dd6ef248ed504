#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "base/bytes.hpp"
#include "platform/video_encoder.hpp"

namespace quillon {

/// One H.264 compression session of the platform, made for one stream configuration and never
/// reconfigured: another size, frame rate, bit rate or key-frame interval is another encoder.
///
/// It turns samples into the two things that a stream needs: the parameter sets whenever they change,
/// and each frame's bytes with its time. What the platform encoded is passed on unchanged; failed,
/// skipped and empty samples are left out in silence.
///
///     created ──encode──▶ encoding ──invalidate──▶ invalidated (encode does nothing)
class H264Encoder {
  public:
    using Factory = std::function<std::unique_ptr<VideoEncoder>(const EncoderSettings&, EncoderCallbacks)>;

    /// Width and height in pixels, both even; bit rate in bits per second. Throws EncoderFailure.
    H264Encoder(const Factory& factory, int width, int height, int fps, int bitrate, int keyframeSeconds);
    /// Invalidates.
    ~H264Encoder();
    H264Encoder(const H264Encoder&) = delete;
    H264Encoder& operator=(const H264Encoder&) = delete;

    // The outputs and questions below are set before the first `encode` and not changed afterwards.
    // They come on the encoder's own thread, one at a time, and must not call `invalidate`.

    /// The parameter-set record, when it differs from the last one: SPS, then PPS, each after its
    /// length (4 bytes, big-endian). The view is valid during the call.
    std::function<void(ByteView)> onConfig;
    /// One frame: NAL units, each after its length (4 bytes, big-endian), and its presentation time in
    /// microseconds. The view is valid during the call.
    std::function<void(ByteView, uint64_t)> onFrame;
    /// May a picture be encoded now? Without it always.
    std::function<bool()> ready;
    /// A picture was let go after a "no"; the newest one should be encoded again.
    std::function<void()> pictureWanted;
    /// How fast the link is, bits a second; without it, or an answer, the encoder has to learn it.
    std::function<std::optional<double>()> linkSpeed;

    /// Would `encode` take a picture without replacing one that waits? Any thread.
    bool acceptsPicture() const;

    /// Hands over a picture and its presentation time in microseconds. Any thread; beside `invalidate`
    /// too, after it nothing happens.
    void encode(PicturePtr picture, uint64_t pts);

    /// Encodes what waits, which is still delivered, and ends. After it returns nothing is delivered.
    void invalidate();

    int width() const { return width_; }
    int height() const { return height_; }
    int fps() const { return fps_; }

  private:
    void take(const EncodedSample& sample);

    const int width_;
    const int height_;
    const int fps_;

    // Encoder's thread only.
    std::optional<Bytes> lastConfig_;
    Bytes config_;  ///< the record being built; kept for its memory

    const std::unique_ptr<VideoEncoder> session_;  // last: its callbacks use everything above
};

}  // namespace quillon
