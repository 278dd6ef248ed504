#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/bytes.hpp"
#include "platform/picture.hpp"
#include "platform/video_encoder.hpp"

struct x264_t;

namespace quillon {

/// One open x264 encoder, set up for interaction: each picture gives its frame at once, at the
/// quantiser that the caller names. One thread at a time.
class X264Session {
  public:
    /// Throws EncoderFailure when x264 refuses the settings.
    explicit X264Session(const EncoderSettings& settings);

    // Parameter sets without length or start code, the same for the whole stream.
    ByteView sps() const { return sps_; }
    ByteView pps() const { return pps_; }

    // The quantisers that there are.
    static constexpr int kFinestQp = 1;  ///< near lossless
    static constexpr int kCoarsestQp = 51;

    /// How the encoder looks for where a part of the picture has moved from.
    enum class Search { near, wide };
    /// Wide at first; holds from the next frame on.
    void setSearch(Search search);

    enum class FrameType { key, delta };
    struct Frame {
        int status = 0;  ///< 0 is success; x264's own number
        ByteView data;   ///< NAL units, each after its length (4 bytes); valid until the next call
    };

    /// Encodes Y, U and V planes of the configured size, which x264 copies. `constancy` says which
    /// macroblocks are the same as in the picture before (see ChangeMap); key frames ignore it.
    ///
    /// A constant macroblock is skipped unread when `qp` is not below that of the frame before;
    /// otherwise it is improved where it is worse than `qp` asks for.
    Frame encode(const std::array<Picture::Plane, 3>& planes, FrameType type, int qp, uint8_t* constancy);

  private:
    void takeParameterSets();

    struct Close {
        void operator()(x264_t* encoder) const;
    };
    std::unique_ptr<x264_t, Close> encoder_;
    Search search_ = Search::wide;
    int64_t frames_ = 0;
    Bytes sps_;
    Bytes pps_;
};

}  // namespace quillon
