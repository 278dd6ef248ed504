#include "platform/linux/picture_ring.hpp"

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace quillon {

namespace {

constexpr size_t kAlignment = 64;  // bytes: a cache line, and the widest vector registers

constexpr uint8_t kBlackLuma = 16;
constexpr uint8_t kNeutralChroma = 128;

constexpr int alignedStride(int width) {
    return (width + static_cast<int>(kAlignment) - 1) & ~(static_cast<int>(kAlignment) - 1);
}

void copyRect(const Picture& from, Picture& to, const PixelRect& rect) {
    for (size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const uint8_t* source = planeAt(from, plane, rect.x, rect.y);
        uint8_t* target = planeAt(to, plane, rect.x, rect.y);
        for (int row = 0; row < rect.height >> shift; ++row) {
            std::memcpy(target, source, static_cast<size_t>(rect.width >> shift));
            source += from.planes[plane].stride;
            target += to.planes[plane].stride;
        }
    }
}

}  // namespace

uint8_t* planeAt(const Picture& picture, size_t index, int x, int y) {
    const int shift = index == 0 ? 0 : 1;
    const Picture::Plane& plane = picture.planes[index];
    return plane.data + static_cast<ptrdiff_t>(y >> shift) * plane.stride + (x >> shift);
}

void paintBlack(Picture& picture, const PixelRect& rect) {
    if (rect.isEmpty()) return;
    for (size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        uint8_t* target = planeAt(picture, plane, rect.x, rect.y);
        for (int row = 0; row < rect.height >> shift; ++row) {
            std::memset(target, plane == 0 ? kBlackLuma : kNeutralChroma,
                        static_cast<size_t>(rect.width >> shift));
            target += picture.planes[plane].stride;
        }
    }
}

PictureRing::PictureRing(Size size) : size_(size) {
    assert(!size.isEmpty() && size.width % 2 == 0 && size.height % 2 == 0);
    slots_.reserve(kPictures);
}

std::shared_ptr<Picture> PictureRing::makePicture() const {
    auto picture = std::make_shared<Picture>();
    picture->format = Picture::Format::i420;
    picture->width = size_.width;
    picture->height = size_.height;
    const int lumaStride = alignedStride(size_.width);
    const int chromaStride = alignedStride(size_.width / 2);
    const size_t lumaBytes = static_cast<size_t>(lumaStride) * size_.height;
    const size_t chromaBytes = static_cast<size_t>(chromaStride) * (size_.height / 2);
    const size_t bytes = (lumaBytes + 2 * chromaBytes + kAlignment - 1) & ~(kAlignment - 1);
    auto* memory = static_cast<uint8_t*>(std::aligned_alloc(kAlignment, bytes));
    if (memory == nullptr) throw std::bad_alloc();
    picture->memory = std::shared_ptr<void>(memory, [](void* block) { std::free(block); });
    picture->planes = {{{memory, lumaStride},
                        {memory + lumaBytes, chromaStride},
                        {memory + lumaBytes + chromaBytes, chromaStride}}};
    picture->damage.reserve(DamageRegion::kLimit);
    return picture;
}

bool PictureRing::isFree(size_t index) const {
    return slots_[index].picture.use_count() == 1;
}

bool PictureRing::hasRoom() const {
    if (slots_.size() < kPictures) return true;
    for (size_t i = 0; i < slots_.size(); ++i) {
        if (isFree(i)) return true;
    }
    return false;
}

Picture& PictureRing::begin(const DamageRegion& changing) {
    // The newest picture needs no catching up, so it comes first when nobody reads it any more.
    writing_ = newest_ != kNone && isFree(newest_) ? newest_ : kNone;
    for (size_t i = 0; writing_ == kNone && i < slots_.size(); ++i) {
        if (isFree(i)) writing_ = i;
    }
    if (writing_ == kNone) {
        assert(slots_.size() < kPictures);
        slots_.push_back({makePicture(), DamageRegion({0, 0, size_.width, size_.height})});
        writing_ = slots_.size() - 1;
    }
    Slot& slot = slots_[writing_];
    // Taking and giving back a reference orders the writes that follow after the last reader's release.
    std::shared_ptr<Picture>(slot.picture).reset();
    if (newest_ != kNone) {
        for (const PixelRect& rect : slot.stale.rects()) {
            if (!changing.covers(rect)) copyRect(*slots_[newest_].picture, *slot.picture, rect);
        }
    }
    slot.stale.clear();
    changing_ = changing;
    return *slot.picture;
}

PicturePtr PictureRing::publish() {
    assert(writing_ != kNone);
    newest_ = std::exchange(writing_, kNone);
    for (size_t i = 0; i < slots_.size(); ++i) {
        if (i != newest_) slots_[i].stale.add(changing_);
    }
    Picture& picture = *slots_[newest_].picture;
    picture.sequence = ++sequence_;
    picture.damage.assign(changing_.rects().begin(), changing_.rects().end());
    return slots_[newest_].picture;
}

PicturePtr PictureRing::newest() const {
    return newest_ == kNone ? nullptr : slots_[newest_].picture;
}

void PictureRing::dropSpares() {
    for (size_t i = slots_.size(); i-- > 0;) {
        if (!isSpare(i)) continue;
        slots_.erase(slots_.begin() + static_cast<ptrdiff_t>(i));
        if (newest_ != kNone && newest_ > i) --newest_;
    }
}

}  // namespace quillon
