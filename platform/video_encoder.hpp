#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/bytes.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// An encoder that cannot be made: the platform's status and the sentence for the user.
class EncoderFailure : public std::runtime_error {
  public:
    EncoderFailure(int status, const std::string& description)
        : std::runtime_error(description), status_(status) {}
    static constexpr const char* domain = "H264Encoder";
    int status() const { return status_; }

  private:
    int status_;
};

/// H.264 (ITU-T H.264) for interaction: Main profile, no reordering, an average bit rate held over a
/// second, a key frame at least every `keyframeSeconds` and every fps × keyframeSeconds frames.
struct EncoderSettings {
    int width = 0;   ///< pixels, even
    int height = 0;  ///< pixels, even
    int fps = 30;
    int bitrate = 0;  ///< bits per second
    int keyframeSeconds = 2;
};

/// What the encoder gives for one picture. The views are valid during the callback only.
struct EncodedSample {
    int status = 0;        ///< 0 is success
    bool dropped = false;  ///< the encoder skipped this picture
    ByteView sps;          ///< parameter set without length or start code; empty when there is none
    ByteView pps;
    ByteView data;  ///< NAL units, each after its length (4 bytes, big-endian); no parameter sets
    int64_t presentationMicroseconds = 0;
};

/// Called on the encoder's own thread, one call at a time.
struct EncoderCallbacks {
    std::function<void(const EncodedSample&)> onSample;
    /// May a picture be encoded now? Asked just before. After a "no" the encoder may ask again for about a
    /// frame's interval; then it lets the picture go, remembers what it changed, and calls `pictureWanted`.
    std::function<bool()> ready;
    /// The encoder let a picture go; the newest one should be submitted again.
    std::function<void()> pictureWanted;
    /// What the link took lately while it had something to do, bits a second; nothing while it is not known.
    std::function<std::optional<double>()> linkSpeed = [] { return std::nullopt; };
};

/// One compression session. When no picture comes any more it may go on improving the last one for a
/// moment, with samples of later presentation times, then it is silent.
class VideoEncoder {
  public:
    /// Ends as `invalidate` does.
    virtual ~VideoEncoder() = default;

    /// Is there room for a picture without waiting? Any thread.
    virtual bool acceptsPicture() const = 0;

    /// Hands a picture over without waiting for it to be encoded; one that still waits is replaced.
    /// Any thread. A BGRA picture of another size is scaled to the encoder's; one of planes has that size.
    virtual void encode(PicturePtr picture, uint64_t presentationMicroseconds) = 0;

    /// Encodes what waits, then ends; after it returns no callback runs, and pictures are let go. Not from a
    /// callback.
    virtual void invalidate() = 0;
};

}  // namespace quillon
