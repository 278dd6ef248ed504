#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/damage_region.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// A few I420 pictures that are written again and again. Each remembers where it is older than the
/// newest one, so a small change costs a small copy. Pictures are made when first needed; after that
/// nothing allocates until a rest, for which the spare ones are given back.
///
/// One thread owns the ring. Pictures handed out may be read and released on any thread.
class PictureRing {
  public:
    /// As many as the consumers may hold (the pacing slot, one waiting for the encoder, one in it), and
    /// one to write.
    static constexpr size_t kPictures = 4;

    /// `size` in pixels, both even.
    explicit PictureRing(Size size);

    /// True when `begin` will give a picture. Only this thread can make it false again.
    bool hasRoom() const;

    /// A picture for writing that equals the newest one but perhaps inside `changing`, where its
    /// content is undefined and must be written. Needs `hasRoom`. Before the first `publish` the whole
    /// picture is undefined.
    Picture& begin(const DamageRegion& changing);

    /// Makes the picture from `begin` the newest one: the next number, and `changing` as its damage.
    PicturePtr publish();

    /// The newest picture; null before the first `publish`.
    PicturePtr newest() const;

    /// How many pictures have been made.
    size_t pictures() const { return slots_.size(); }
    /// Gives those back that nobody reads, but the newest.
    void dropSpares();

  private:
    struct Slot {
        std::shared_ptr<Picture> picture;
        DamageRegion stale;  ///< where it differs from the newest picture
    };
    static constexpr size_t kNone = kPictures;

    bool isFree(size_t index) const;
    bool isSpare(size_t index) const { return index != newest_ && isFree(index); }
    std::shared_ptr<Picture> makePicture() const;

    const Size size_;
    std::vector<Slot> slots_;
    size_t newest_ = kNone;
    size_t writing_ = kNone;
    DamageRegion changing_;
    uint64_t sequence_ = 0;
};

/// The address of pixel (x, y) in plane `index` of an I420 picture, in the picture's coordinates: the
/// chroma planes have half of them.
uint8_t* planeAt(const Picture& picture, size_t index, int x, int y);

/// Fills `rect` (even edges) with black.
void paintBlack(Picture& picture, const PixelRect& rect);

}  // namespace quillon
