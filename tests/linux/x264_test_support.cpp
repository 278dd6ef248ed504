#include "tests/linux/x264_test_support.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace quillon::x264_test {

namespace {

constexpr uint8_t kStartCode[4] = {0, 0, 0, 1};

void appendUnit(Bytes& to, ByteView unit) {
    to.insert(to.end(), std::begin(kStartCode), std::end(kStartCode));
    to.insert(to.end(), unit.begin(), unit.end());
}

uint32_t nextRandom(uint32_t& state) {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
}

int planeWidth(const Picture& picture, size_t plane) {
    return plane == 0 ? picture.width : picture.width / 2;
}
int planeHeight(const Picture& picture, size_t plane) {
    return plane == 0 ? picture.height : picture.height / 2;
}

}  // namespace

std::shared_ptr<Picture> makeI420(int width, int height) {
    const size_t luma = static_cast<size_t>(width) * height;
    auto memory = std::make_shared<Bytes>(luma * 3 / 2, uint8_t{128});
    auto picture = std::make_shared<Picture>();
    picture->format = Picture::Format::i420;
    picture->width = width;
    picture->height = height;
    picture->planes = {{{memory->data(), width},
                        {memory->data() + luma, width / 2},
                        {memory->data() + luma + luma / 4, width / 2}}};
    std::fill_n(memory->data(), luma, uint8_t{225});
    picture->memory = std::move(memory);
    return picture;
}

void drawText(Picture& picture, const PixelRect& where, uint32_t seed) {
    constexpr int kCell = 8;
    uint32_t state = seed * 2654435761u + 1;
    for (int y = where.y; y < where.bottom(); y += 2 * kCell) {
        for (int x = where.x; x < where.right(); x += kCell) {
            const uint32_t strokes = nextRandom(state);
            for (int row = 0; row < 2 * kCell && y + row < where.bottom(); ++row) {
                for (int column = 0; column < kCell && x + column < where.right(); ++column) {
                    const bool gap = column >= kCell - 2 || row >= kCell + 3;
                    const bool ink = !gap && (strokes >> ((row / 2 * 3 + column / 2) % 24) & 1);
                    picture.planes[0].data[(y + row) * picture.planes[0].stride + x + column] =
                        ink ? 40 : 225;
                }
            }
        }
    }
}

void drawNoise(Picture& picture, const PixelRect& where, uint32_t seed) {
    uint32_t state = seed * 2654435761u + 1;
    for (int y = where.y; y < where.bottom(); ++y) {
        for (int x = where.x; x < where.right(); ++x) {
            picture.planes[0].data[y * picture.planes[0].stride + x] =
                static_cast<uint8_t>(16 + nextRandom(state) % 220);
        }
    }
}

double psnr(const Picture& a, const Picture& b) {
    double squares = 0;
    double count = 0;
    for (size_t plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < planeHeight(a, plane); ++y) {
            for (int x = 0; x < planeWidth(a, plane); ++x) {
                const int difference = a.planes[plane].data[y * a.planes[plane].stride + x] -
                                       b.planes[plane].data[y * b.planes[plane].stride + x];
                squares += difference * difference;
                count += 1;
            }
        }
    }
    return squares == 0 ? 99 : 10 * std::log10(255.0 * 255 * count / squares);
}

Decoder::Decoder(ByteView sps, ByteView pps)
    : context_(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264))),
      frame_(av_frame_alloc()),
      packet_(av_packet_alloc()) {
    av_log_set_level(AV_LOG_QUIET);
    context_->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
    context_->flags |= AV_CODEC_FLAG_LOW_DELAY;
    context_->thread_count = 1;
    if (avcodec_open2(context_, nullptr, nullptr) < 0) throw std::runtime_error("no H.264 decoder");
    appendUnit(parameterSets_, sps);
    appendUnit(parameterSets_, pps);
}

Decoder::~Decoder() {
    av_packet_free(&packet_);
    av_frame_free(&frame_);
    avcodec_free_context(&context_);
}

std::shared_ptr<Picture> Decoder::decode(ByteView frame) {
    annexB_ = std::exchange(parameterSets_, {});
    while (frame.size() > 4) {
        const size_t length = loadBigEndian32(frame.data());
        if (length > frame.size() - 4) {
            ++errors_;
            return nullptr;
        }
        appendUnit(annexB_, frame.subspan(4, length));
        frame = frame.subspan(4 + length);
    }
    const size_t size = annexB_.size();
    annexB_.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
    packet_->data = annexB_.data();
    packet_->size = static_cast<int>(size);
    if (avcodec_send_packet(context_, packet_) < 0 || avcodec_receive_frame(context_, frame_) < 0) {
        ++errors_;
        return nullptr;
    }
    if (frame_->decode_error_flags != 0 || frame_->format != AV_PIX_FMT_YUV420P) ++errors_;
    wasKey_ = frame_->key_frame != 0;
    auto picture = makeI420(frame_->width, frame_->height);
    for (size_t plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < planeHeight(*picture, plane); ++y) {
            std::copy_n(
                frame_->data[plane] + static_cast<ptrdiff_t>(y) * frame_->linesize[plane],
                planeWidth(*picture, plane),
                picture->planes[plane].data + static_cast<ptrdiff_t>(y) * picture->planes[plane].stride);
        }
    }
    av_frame_unref(frame_);
    return picture;
}

std::vector<int> unitTypes(ByteView frame) {
    std::vector<int> types;
    while (!frame.empty()) {
        if (frame.size() < 5) return {};
        const size_t length = loadBigEndian32(frame.data());
        if (length == 0 || length > frame.size() - 4) return {};
        types.push_back(frame[4] & 31);
        frame = frame.subspan(4 + length);
    }
    return types;
}

}  // namespace quillon::x264_test
