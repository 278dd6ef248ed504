#include "device/message_reader.hpp"

#include <algorithm>

#include "base/text.hpp"

namespace quillon::device {
namespace {

constexpr uint32_t kLargestVideo = 64U << 20;
constexpr uint32_t kLargestOther = 64U << 10;

/// Memory taken ahead for a message; a larger one grows as its bytes come.
constexpr uint32_t kReserved = 1U << 20;

}  // namespace

bool isKnownToDevice(uint8_t type) {
    using enum wire::MessageType;
    switch (static_cast<wire::MessageType>(type)) {
        case codecConfiguration:
        case videoFrame:
        case smoothing:
        case cursor:
        case linkName:
        case settingsLine:
        case dropCount:
        case overlay:
            return true;
        default:
            return false;
    }
}

uint32_t largestPayload(wire::MessageType type) {
    return type == wire::MessageType::videoFrame ? kLargestVideo : kLargestOther;
}

void MessageReader::feed(ByteView bytes, Moment now) {
    while (!bytes.empty()) {
        if (headerBytes_ < header_.size()) {
            if (headerBytes_ == 0) message_.arrival = now;
            const size_t count = std::min(bytes.size(), header_.size() - headerBytes_);
            std::copy_n(bytes.begin(), count, header_.begin() + static_cast<ptrdiff_t>(headerBytes_));
            headerBytes_ += count;
            bytes = bytes.subspan(count);
            if (headerBytes_ < header_.size()) return;
            beginPayload();
        } else {
            const size_t count = std::min<size_t>(bytes.size(), missing_);
            if (keeps_)
                message_.payload.insert(message_.payload.end(), bytes.begin(),
                                        bytes.begin() + static_cast<ptrdiff_t>(count));
            missing_ -= static_cast<uint32_t>(count);
            bytes = bytes.subspan(count);
        }
        if (missing_ == 0) finish(now);
    }
}

void MessageReader::beginPayload() {
    message_.header = wire::loadHeader(header_.data());
    message_.payload.clear();
    missing_ = message_.header.length;
    keeps_ = isKnownToDevice(message_.header.type);
    if (!keeps_) return;
    if (missing_ > largestPayload(message_.type())) {
        throw ProtocolError(formatted("message of type %u announces %u bytes, at most %u are allowed",
                                      unsigned{message_.header.type}, missing_,
                                      largestPayload(message_.type())));
    }
    message_.payload.reserve(std::min(missing_, kReserved));
}

void MessageReader::finish(Moment now) {
    headerBytes_ = 0;
    message_.complete = now;
    sink_(message_);
}

}  // namespace quillon::device
