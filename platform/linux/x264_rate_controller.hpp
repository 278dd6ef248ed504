#pragma once

#include <array>
#include <cstdint>

#include "platform/linux/x264_content_probe.hpp"

namespace quillon {

/// Predicts the size of a frame from its content and quantiser, and learns from each frame's real size.
///
///     bits = content × 2^(level − slope × quantiser)
class SizeModel {
  public:
    /// Bits for one unit of content at quantiser 26, and how many steps of the quantiser halve it.
    SizeModel(double bitsPerUnit, double stepsToHalve);

    double bits(double content, int qp) const;
    void learn(double content, int qp, double bits);

  private:
    double level_;  ///< log2 of the bits per unit at quantiser 0
    double slope_;  ///< log2 of bits for each step
    double lastLogBits_ = 0;
    int lastQp_ = -1;
};

/// Chooses the quantiser of each frame: the finest one that could be kept up for the coming second
/// without any second carrying more bits than the bit rate allows. Pure: times come from the caller, in
/// microseconds of presentation, never decreasing.
///
/// x264 skips a still macroblock unread only while the quantiser does not fall. So the quantiser falls
/// in few, deliberate steps: with a key frame, with a picture that changes nearly everywhere, and when
/// the screen has come to rest. A fall at rest is what makes a still picture sharp.
class RateController {
  public:
    /// The quantiser of a picture at rest. Finer ones cost bits that nobody sees.
    static constexpr int kFinestQp = 4;
    /// So long after the last large change the screen counts as at rest; microseconds.
    static constexpr int64_t kRest = 150'000;

    enum class Kind { key, change };

    /// Bit rate in bits per second.
    RateController(int bitrate, int fps, int macroblocks);

    /// The quantiser for a picture at `time`, handed in or repeated at rest.
    int choose(Kind kind, int64_t time, const PictureContent& content);

    /// Tells what it became; follows each `choose` whose picture was encoded.
    void encoded(Kind kind, int64_t time, const PictureContent& content, int qp, double bits);

    /// Has the last picture got the finest quantiser?
    bool isRefined() const { return settledQp_ <= kFinestQp; }
    /// Would encoding it again now, with nothing changed, improve it by a step that is worth a frame?
    bool canRefine(int64_t time, const PictureContent& still);

  private:
    /// The last second in slots, so that the bits of any second can be told from its end.
    static constexpr int kSlots = 32;
    static constexpr int64_t kSecond = 1'000'000;

    /// What one quantiser would cost: this frame, and each one like it that may follow.
    struct Cost {
        double now = 0;
        double following = 0;
    };
    Cost costOf(Kind kind, const PictureContent& content, int qp) const;
    double refinementBits(const PictureContent& content, int qp) const;
    int finest(Kind kind, const PictureContent& content, double largestFrame, double limit) const;
    bool isSustainable(const Cost& cost, double limit) const;
    bool isLarge(const PictureContent& content) const;
    void advance(int64_t time);

    const double bitrate_;
    const double fps_;
    const int macroblocks_;

    SizeModel keySizes_;
    SizeModel changeSizes_;
    double refinementFactor_;
    bool hasKey_ = false;

    int settledQp_ = 51;        ///< that of the last frame
    int64_t lastLarge_ = 0;     ///< time of the last large change
    int64_t lastPicture_ = 0;   ///< time of the last frame
    double picturesPerSecond_;  ///< the pace of late

    std::array<double, kSlots> sent_{};  ///< bits, by slot number modulo kSlots
    int64_t slot_ = 0;                   ///< the current one
};

}  // namespace quillon
