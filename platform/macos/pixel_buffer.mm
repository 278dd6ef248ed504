#include "platform/macos/pixel_buffer.hpp"

namespace quillon {

namespace {

void letGo(void* picture, const void*) {
    delete static_cast<PicturePtr*>(picture);
}

}  // namespace

PicturePtr pictureOf(CVPixelBufferRef buffer) {
    auto picture = std::make_shared<Picture>();
    picture->format = Picture::Format::native;
    picture->width = static_cast<int>(CVPixelBufferGetWidth(buffer));
    picture->height = static_cast<int>(CVPixelBufferGetHeight(buffer));
    picture->native = buffer;
    picture->memory = std::shared_ptr<void>(retained(buffer));
    return picture;
}

Owned<CVPixelBufferRef> pixelBufferOf(const PicturePtr& picture) {
    if (picture->format == Picture::Format::native) {
        return retained(static_cast<CVPixelBufferRef>(picture->native));
    }
    if (picture->format != Picture::Format::bgra) return nullptr;
    const Picture::Plane& plane = picture->planes[0];
    auto keeper = std::make_unique<PicturePtr>(picture);
    CVPixelBufferRef buffer = nullptr;
    const CVReturn made = CVPixelBufferCreateWithBytes(
        kCFAllocatorDefault, static_cast<size_t>(picture->width), static_cast<size_t>(picture->height),
        kCVPixelFormatType_32BGRA, plane.data, static_cast<size_t>(plane.stride), &letGo, keeper.get(),
        nullptr, &buffer);
    if (made != kCVReturnSuccess || buffer == nullptr) return nullptr;
    keeper.release();  // the buffer lets it go
    return Owned<CVPixelBufferRef>(buffer);
}

}  // namespace quillon
