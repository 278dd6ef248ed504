#include "device/video_decoder.hpp"

#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "device/annex_b.hpp"

namespace quillon::device {
namespace {

AVCodecContext* openDecoder() {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_H264);
    AVCodecContext* context = codec != nullptr ? avcodec_alloc_context3(codec) : nullptr;
    if (context == nullptr) throw std::runtime_error("no H.264 decoder");
    context->flags |= AV_CODEC_FLAG_LOW_DELAY | AV_CODEC_FLAG_OUTPUT_CORRUPT;
    // Threads would hold frames back, or switch off the check for parts of a picture that are missing.
    context->thread_count = 1;
    if (avcodec_open2(context, codec, nullptr) < 0) {
        avcodec_free_context(&context);
        throw std::runtime_error("the H.264 decoder does not open");
    }
    return context;
}

bool isSupported(const AVFrame& frame) {
    return frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P;
}

}  // namespace

DecodedPicture::~DecodedPicture() {
    av_frame_free(&frame_);
}
Size DecodedPicture::size() const {
    return {frame_->width, frame_->height};
}
const uint8_t* DecodedPicture::plane(int index) const {
    return frame_->data[index];
}
int DecodedPicture::stride(int index) const {
    return frame_->linesize[index];
}

VideoDecoder::VideoDecoder() : context_(openDecoder()), packet_(av_packet_alloc()) {
    // What is wrong with a stream is counted and told by the statistics, not by the library.
    av_log_set_level(AV_LOG_QUIET);
}

VideoDecoder::~VideoDecoder() {
    av_packet_free(&packet_);
    avcodec_free_context(&context_);
}

bool VideoDecoder::configure(ByteView parameterSets) {
    Bytes units;
    if (!appendAnnexB(units, parameterSets)) return false;
    parameterSets_ = std::move(units);
    order_.configure(parameterSets);
    return true;
}

VideoDecoder::Result VideoDecoder::pass(ByteView accessUnit) {
    Result result;
    packetBytes_ = parameterSets_;
    if (!appendAnnexB(packetBytes_, accessUnit)) {
        packetBytes_.clear();
        result.failed = true;
        return result;
    }
    parameterSets_.clear();
    result.missingReference = !order_.accept(accessUnit);
    return result;
}

VideoDecoder::Result VideoDecoder::decode(ByteView accessUnit) {
    Result result = pass(accessUnit);
    if (result.failed) return result;
    const size_t size = packetBytes_.size();
    packetBytes_.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);  // the decoder reads past the end
    packet_->data = packetBytes_.data();
    packet_->size = static_cast<int>(size);
    result.failed = avcodec_send_packet(context_, packet_) < 0;
    packetBytes_.resize(size);
    takePicture(result);
    return result;
}

void VideoDecoder::takePicture(Result& result) {
    for (;;) {
        AVFrame* frame = av_frame_alloc();
        const int answer = avcodec_receive_frame(context_, frame);
        if (answer < 0) {
            av_frame_free(&frame);
            if (answer != AVERROR(EAGAIN)) result.failed = true;
            return;
        }
        auto picture = std::make_shared<const DecodedPicture>(frame);
        if (!isSupported(*frame) || frame->decode_error_flags != 0) result.failed = true;
        if (isSupported(*frame)) result.picture = std::move(picture);
    }
}

}  // namespace quillon::device
