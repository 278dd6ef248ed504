#include "media/h264_encoder.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quillon {

namespace {

void appendParameterSet(Bytes& record, ByteView set) {
    uint8_t length[4];
    storeBigEndian32(length, static_cast<uint32_t>(set.size()));
    record.insert(record.end(), std::begin(length), std::end(length));
    record.insert(record.end(), set.begin(), set.end());
}

}  // namespace

H264Encoder::H264Encoder(const Factory& factory, int width, int height, int fps, int bitrate,
                         int keyframeSeconds)
    : width_(width),
      height_(height),
      fps_(fps),
      session_(factory(EncoderSettings{width, height, fps, bitrate, keyframeSeconds},
                       EncoderCallbacks{
                           .onSample = [this](const EncodedSample& sample) { take(sample); },
                           .ready = [this] { return !ready || ready(); },
                           .pictureWanted =
                               [this] {
                                   if (pictureWanted) pictureWanted();
                               },
                           .linkSpeed = [this] { return linkSpeed ? linkSpeed() : std::nullopt; },
                       })) {}

H264Encoder::~H264Encoder() {
    invalidate();
}

bool H264Encoder::acceptsPicture() const {
    return session_->acceptsPicture();
}

void H264Encoder::encode(PicturePtr picture, uint64_t pts) {
    session_->encode(std::move(picture), pts);
}

void H264Encoder::invalidate() {
    session_->invalidate();
}

void H264Encoder::take(const EncodedSample& sample) {
    if (sample.status != 0 || sample.dropped) return;
    if (!sample.sps.empty() && !sample.pps.empty()) {
        config_.clear();
        appendParameterSet(config_, sample.sps);
        appendParameterSet(config_, sample.pps);
        if (config_ != lastConfig_) {
            lastConfig_ = config_;
            if (onConfig) onConfig(*lastConfig_);
        }
    }
    if (sample.data.empty()) return;
    const int64_t time = std::max<int64_t>(0, sample.presentationMicroseconds);
    if (onFrame) onFrame(sample.data, static_cast<uint64_t>(time));
}

}  // namespace quillon
