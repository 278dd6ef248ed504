#include "video_sample.hpp"

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace quillon::device {
namespace {

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

/// The units of an Annex B stream, length-prefixed; only those whose type `wanted` accepts.
Bytes lengthPrefixed(ByteView stream, bool (*wanted)(int type)) {
    const auto startAt = [&](size_t i) {
        return i + 3 <= stream.size() && stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1;
    };
    Bytes units;
    size_t i = 0;
    while (i < stream.size() && !startAt(i)) ++i;
    while (i < stream.size()) {
        const size_t begin = i + 3;
        size_t next = begin;
        while (next < stream.size() && !startAt(next)) ++next;
        size_t end = next;
        while (next < stream.size() && end > begin && stream[end - 1] == 0) --end;
        if (wanted(stream[begin] & 0x1F)) {
            const size_t at = units.size();
            units.resize(at + 4);
            storeBigEndian32(units.data() + at, static_cast<uint32_t>(end - begin));
            units.insert(units.end(), stream.begin() + static_cast<ptrdiff_t>(begin),
                         stream.begin() + static_cast<ptrdiff_t>(end));
        }
        i = next;
    }
    return units;
}

bool isParameterSet(int type) {
    return type == 7 || type == 8;
}
bool isSlice(int type) {
    return type == 1 || type == 5;
}

}  // namespace

VideoSample encodeSample(Size size, int frames, const LumaOf& lumaOf, int slices) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    if (codec == nullptr) return {};
    av_log_set_level(AV_LOG_QUIET);
    const std::unique_ptr<AVCodecContext, Free> context(avcodec_alloc_context3(codec));
    context->width = size.width;
    context->height = size.height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {1, 30};
    context->gop_size = 1000;
    context->thread_count = 1;
    context->slices = slices;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(context->priv_data, "preset", "ultrafast", 0);
    av_opt_set(context->priv_data, "tune", "zerolatency", 0);
    av_opt_set(context->priv_data, "profile", "main", 0);
    av_opt_set(context->priv_data, "crf", "12", 0);
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return {};

    VideoSample sample;
    sample.parameterSets =
        lengthPrefixed({context->extradata, static_cast<size_t>(context->extradata_size)}, isParameterSet);
    const std::unique_ptr<AVFrame, Free> frame(av_frame_alloc());
    const std::unique_ptr<AVPacket, Free> packet(av_packet_alloc());
    for (int index = 0; index < frames; ++index) {
        av_frame_unref(frame.get());
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = size.width;
        frame->height = size.height;
        frame->pts = index;
        av_frame_get_buffer(frame.get(), 0);
        for (int plane = 0; plane < 3; ++plane) {
            const int shift = plane == 0 ? 0 : 1;
            for (int y = 0; y < size.height >> shift; ++y) {
                uint8_t* row = frame->data[plane] + static_cast<ptrdiff_t>(y) * frame->linesize[plane];
                for (int x = 0; x < size.width >> shift; ++x) {
                    row[x] = plane == 0 ? lumaOf(index, x, y) : 128;
                }
            }
        }
        avcodec_send_frame(context.get(), frame.get());
        while (avcodec_receive_packet(context.get(), packet.get()) == 0) {
            sample.frames.push_back(
                lengthPrefixed({packet->data, static_cast<size_t>(packet->size)}, isSlice));
            av_packet_unref(packet.get());
        }
    }
    return sample;
}

}  // namespace quillon::device
