#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/x264_change_map.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// What a picture will be like to encode, in grey levels summed over macroblocks.
struct PictureContent {
    int changedMacroblocks = 0;
    double change = 0;  ///< how far the changed macroblocks differ from what they showed before
    double detail = 0;  ///< how much there is to draw in the whole picture
    /// Of the changed macroblocks that have any detail, how many have hard edges as text has them; 0 to 1.
    double sharpness = 0;
};

/// Estimates that from two lines of luma in each changed macroblock, which costs at most half a
/// millisecond, so that the first picture of a movement gets a fitting quantiser instead of a guess.
class ContentProbe {
  public:
    /// Width and height in pixels.
    ContentProbe(int width, int height);

    /// Compares with what earlier looks have seen, and remembers.
    PictureContent look(const Picture::Plane& luma, const ChangeMap& changes);

    /// What a look at the same picture would tell again: nothing changed.
    PictureContent still() const;

  private:
    /// The sums over a macroblock's sampled pixels.
    struct Sums {
        int change = 0;
        int detail = 0;
        int edges = 0;  ///< as detail, but each step from pixel to pixel squared
    };
    static void add(const uint8_t* now, const uint8_t* before, int count, int steps, Sums& sums);
    Sums compare(const Picture::Plane& luma, int column, int row);

    int width_;
    int height_;
    size_t lineSize_;
    std::vector<uint8_t> samples_;   ///< the sampled lines of each row of macroblocks
    std::vector<uint16_t> details_;  ///< of each macroblock
    int64_t detail_ = 0;             ///< their sum
};

}  // namespace quillon
