#include "platform/linux/x264_session.hpp"

#include <x264.h>

#include <algorithm>
#include <string>
#include <utility>

namespace quillon {

namespace {

/// x264 gives no reason when it does not open.
constexpr int kCannotOpen = -1;

constexpr int kMainProfile = 77;
constexpr int kSmpte170m = 6;  // ITU-R BT.601, ITU-T H.264 table E-5

/// From here on a picture is encoded in two slices side by side: in movement that brings it 3 to 6
/// milliseconds sooner, for a few hundredths more of CPU. Smaller ones gain little by it.
constexpr int kPixelsOfOneThread = 2'000'000;

// With a constant quantiser x264 takes the limits of all quantisers from that of P frames and the factors
// of the other types, which it bounds by 0.01 and 10. The smallest factors open the whole range: with them
// the quantiser of key frames counts as 40 steps coarser, that of B frames as 40 steps finer.
constexpr int kMiddleQp = 25;
constexpr float kSmallestFactor = 0.01F;

/// Colour is coded so many steps coarser than brightness, in which the eye is sharper.
constexpr int kChromaOffset = 2;

/// Text that scrolls moves further than the preset's small diamond finds, and a search that fails costs
/// more bits and time than one that succeeds: a wide one makes scrolling cheaper in both. What is no text
/// gains nothing by it, and takes up to a tenth less time without.
constexpr int kSearchRange = 24;

// Rounding towards zero saves bits. On film a dead zone a little below the usual 21 with a finer quantiser
// gives half a decibel more for the same bits than a small one; from 19 on, sharp text stays
// soft even at the finest quantiser. In key frames a small one is worth its bits.
constexpr int kInterDeadZone = 18;
constexpr int kIntraDeadZone = 6;

[[noreturn]] void fail(int status) {
    throw EncoderFailure(status, "VTCompressionSessionCreate failed: " + std::to_string(status));
}

/// What x264 takes; asked beforehand because it leaks when it refuses.
bool isPossible(int side) {
    constexpr int kLargest = 16384;
    return side >= 2 && side <= kLargest && side % 2 == 0;
}

int searchMethod(X264Session::Search search) {
    return search == X264Session::Search::wide ? X264_ME_UMH : X264_ME_DIA;
}

x264_param_t parametersFor(const EncoderSettings& settings) {
    if (!isPossible(settings.width) || !isPossible(settings.height)) fail(kCannotOpen);
    x264_param_t parameters;
    if (x264_param_default_preset(&parameters, "ultrafast", "zerolatency") < 0) fail(kCannotOpen);
    parameters.i_log_level = X264_LOG_NONE;
    parameters.i_width = settings.width;
    parameters.i_height = settings.height;
    parameters.i_csp = X264_CSP_I420;
    parameters.i_fps_num = static_cast<uint32_t>(std::max(1, settings.fps));
    parameters.i_fps_den = 1;
    parameters.vui.i_colmatrix = kSmpte170m;
    parameters.vui.b_fullrange = 0;

    const bool isLarge = settings.width * settings.height > kPixelsOfOneThread;
    parameters.i_threads = isLarge ? 2 : 1;
    parameters.b_sliced_threads = isLarge;

    // The caller decides on key frames and quantisers: no look-ahead, which would cost a third of a
    // still frame, and no average-rate control, whose falling quantiser encodes still areas again.
    parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE;
    parameters.i_scenecut_threshold = 0;
    parameters.rc.i_rc_method = X264_RC_CQP;
    parameters.rc.i_qp_constant = kMiddleQp;
    parameters.rc.f_ip_factor = kSmallestFactor;
    parameters.rc.f_pb_factor = kSmallestFactor;
    parameters.analyse.i_chroma_qp_offset = kChromaOffset;
    parameters.analyse.b_psy = 0;
    parameters.analyse.b_mb_info = 1;
    // Small intra blocks, which the preset leaves out, save a tenth of a key frame and of what a movement
    // uncovers, for hardly any time.
    parameters.analyse.intra = X264_ANALYSE_I4x4;
    parameters.analyse.inter = X264_ANALYSE_I4x4;
    parameters.analyse.i_me_method = searchMethod(X264Session::Search::wide);
    parameters.analyse.i_me_range = kSearchRange;
    parameters.analyse.i_luma_deadzone[0] = kInterDeadZone;
    parameters.analyse.i_luma_deadzone[1] = kIntraDeadZone;

    parameters.b_annexb = 0;
    parameters.b_repeat_headers = 0;
    return parameters;
}

}  // namespace

X264Session::X264Session(const EncoderSettings& settings) {
    // x264 refuses odd sizes itself, but then forgets to free its copy of the parameters.
    if (settings.width % 2 != 0 || settings.height % 2 != 0) fail(kCannotOpen);
    x264_param_t parameters = parametersFor(settings);
    encoder_.reset(x264_encoder_open(&parameters));
    if (!encoder_) fail(kCannotOpen);
    takeParameterSets();
}

void X264Session::Close::operator()(x264_t* encoder) const {
    x264_encoder_close(encoder);
}

void X264Session::takeParameterSets() {
    constexpr size_t kLength = 4;
    x264_nal_t* units = nullptr;
    int count = 0;
    x264_encoder_headers(encoder_.get(), &units, &count);
    for (const x264_nal_t& unit : std::span(units, static_cast<size_t>(count))) {
        const ByteView bytes = ByteView(unit.p_payload, static_cast<size_t>(unit.i_payload)).subspan(kLength);
        if (unit.i_type == NAL_SPS) sps_.assign(bytes.begin(), bytes.end());
        if (unit.i_type == NAL_PPS) pps_.assign(bytes.begin(), bytes.end());
    }
    // x264 calls a stream Main only when it holds one of Main's own tools. The cheapest of them, CABAC,
    // takes four times the time on sharp text; so the stream keeps to what Baseline and Main share
    // (constraint_set1 says so) and is declared as what it is asked to be, Main.
    constexpr size_t kProfile = 1;
    sps_.at(kProfile) = kMainProfile;
}

void X264Session::setSearch(Search search) {
    if (std::exchange(search_, search) == search) return;
    x264_param_t parameters;
    x264_encoder_parameters(encoder_.get(), &parameters);
    parameters.analyse.i_me_method = searchMethod(search);
    x264_encoder_reconfig(encoder_.get(), &parameters);
}

X264Session::Frame X264Session::encode(const std::array<Picture::Plane, 3>& planes, FrameType type, int qp,
                                       uint8_t* constancy) {
    x264_picture_t input;
    x264_picture_init(&input);
    input.img.i_csp = X264_CSP_I420;
    input.img.i_plane = static_cast<int>(planes.size());
    for (size_t i = 0; i < planes.size(); ++i) {
        input.img.plane[i] = planes[i].data;
        input.img.i_stride[i] = planes[i].stride;
    }
    input.i_type = type == FrameType::key ? X264_TYPE_IDR : X264_TYPE_P;
    input.i_qpplus1 = qp + 1;
    input.i_pts = frames_++;
    input.prop.mb_info = constancy;

    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t output;
    const int size = x264_encoder_encode(encoder_.get(), &units, &count, &input, &output);
    if (size < 0) return {.status = size};
    if (size == 0) return {};
    return {.data = ByteView(units[0].p_payload, static_cast<size_t>(size))};
}

}  // namespace quillon
