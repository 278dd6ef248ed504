// quillon-encoder-bench [--size WxH] [--fps N] [--bitrate N] [--seconds N] [--peer] [--frames] [SCENE...]
//
// Feeds scenes to the encoder as capture would, in their own time, and prints for each: CPU of the
// encoder's threads, time from hand-over to frame, bits, and how near the decoded pictures come to what
// was shown. With --peer the same pictures go through libx264 as ffmpeg sets it up (ultrafast,
// zerolatency, average bit rate), one in every frame interval whether or not anything changed. With
// --frames every frame gets a line.

#include <libyuv/compare.h>
#include <time.h>
#include <x264.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/scenes.hpp"
#include "device/video_decoder.hpp"
#include "platform/linux/bgrx_to_i420.hpp"
#include "platform/linux/run_loop.hpp"
#include "platform/linux/x264_encoder.hpp"

namespace quillon::bench {
namespace {

using device::DecodedPicture;
using device::VideoDecoder;
using Clock = std::chrono::steady_clock;

struct Options {
    Size size{2048, 1536};
    int fps = 30;
    int bitrate = 18'000'000;
    double seconds = 6;
    bool peer = false;
    bool frames = false;
    std::vector<std::string> scenes;
};

double cpuSeconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// CPU of all threads but this one.
double cpuOfOthers() {
    return cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
}

/// Draws a scene and says where.
class ShownScene : public Surface {
  public:
    ShownScene(const std::string& name, const SceneFormat& format)
        : size_(format.size),
          scene_(makeMarkedScene(name, format, store_)),
          screen_(store_.make(size_)),
          drawing_(screen_) {
        if (!scene_) throw std::invalid_argument("no such scene: " + name);
    }

    double rate() const { return scene_->rate(); }

    PicturePtr show(uint32_t index) {
        damage_.clear();
        scene_->draw(index, shown_, *this);
        shown_ = index;
        auto picture = makePicture();
        convertBgrxToI420({reinterpret_cast<const uint8_t*>(screen_.pixels), size_.width * 4}, size_,
                          picture->planes);
        return picture;
    }

    void put(const Sheet& sheet, const PixelRect& from, int x, int y) override {
        drawing_.put(sheet, from, x, y);
        damage_.push_back({x, y, from.width, from.height});
    }

  private:
    std::shared_ptr<Picture> makePicture() {
        const size_t luma = static_cast<size_t>(size_.width) * size_.height;
        const auto memory = std::make_shared<Bytes>(luma * 3 / 2);
        auto picture = std::make_shared<Picture>();
        picture->format = Picture::Format::i420;
        picture->width = size_.width;
        picture->height = size_.height;
        picture->planes = {{{memory->data(), size_.width},
                            {memory->data() + luma, size_.width / 2},
                            {memory->data() + luma + luma / 4, size_.width / 2}}};
        picture->memory = memory;
        picture->sequence = ++sequence_;
        picture->damage = damage_;
        return picture;
    }

    Size size_;
    HeapSheets store_;
    std::unique_ptr<Scene> scene_;
    Sheet screen_;
    SheetSurface drawing_;
    std::vector<PixelRect> damage_;
    std::optional<uint32_t> shown_;
    uint64_t sequence_ = 0;
};

constexpr double kPeakSquared = 255.0 * 255;

/// Mean squared error over all planes; the worst possible without a decoded picture.
double errorOf(const device::DecodedPicturePtr& decoded, const Picture& shown) {
    if (!decoded) return kPeakSquared;
    double sum = 0;
    for (int i = 0; i < 3; ++i) {
        const Picture::Plane& plane = shown.planes[static_cast<size_t>(i)];
        const int part = i == 0 ? 1 : 2;
        sum += static_cast<double>(
            libyuv::ComputeSumSquareErrorPlane(decoded->plane(i), decoded->stride(i), plane.data,
                                               plane.stride, shown.width / part, shown.height / part));
    }
    return sum / (1.5 * shown.width * shown.height);
}

double decibels(double error) {
    return error <= 0 ? 99 : 10 * std::log10(kPeakSquared / error);
}

double meanOf(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values) sum += value;
    return values.empty() ? 0 : sum / static_cast<double>(values.size());
}

double quantileOf(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto index = static_cast<size_t>(share * static_cast<double>(values.size()));
    return values[std::min(index, values.size() - 1)];
}

/// What one run has given.
class Report {
  public:
    explicit Report(bool printsFrames) : printsFrames_(printsFrames) {}

    double cpu = 0;                 ///< seconds
    std::vector<double> latencies;  ///< milliseconds

    void addPicture() { firstOfPicture_ = true; }

    /// A frame with its time in microseconds, and how far its picture is from the one shown.
    void addFrame(int64_t time, ByteView bytes, double error) {
        const double bits = 8.0 * static_cast<double>(bytes.size());
        const bool isKey = (bytes[4] & 31) == 5;
        if (firstOfPicture_) {
            first_.push_back(error);
            last_.push_back(error);
        }
        last_.back() = error;
        ++frames_;
        keys_ += isKey ? 1 : 0;
        bits_ += bits;
        second_.emplace_back(time, bits);
        bitsOfSecond_ += bits;
        for (; second_.front().first <= time - 1'000'000; second_.pop_front())
            bitsOfSecond_ -= second_.front().second;
        worstSecond_ = std::max(worstSecond_, bitsOfSecond_);
        if (printsFrames_) {
            printf("%10.3f s  %-7s %9.1f kbit  %5.2f dB\n", static_cast<double>(time) * 1e-6,
                   isKey ? "key" : (firstOfPicture_ ? "" : "refined"), bits / 1000, decibels(error));
        }
        firstOfPicture_ = false;
    }

    void print(const std::string& scene, const char* who, double seconds) const {
        printf("%-7s %-5s %4zu pictures %4d frames %2d keys  CPU %6.2f ms a frame, %.3f s a second",
               scene.c_str(), who, first_.size(), frames_, keys_, 1000 * cpu / std::max(1, frames_),
               cpu / seconds);
        if (!latencies.empty())
            printf("  latency p50 %4.1f p95 %4.1f ms", quantileOf(latencies, 0.5),
                   quantileOf(latencies, 0.95));
        printf("  %5.2f Mbit/s, worst second %5.2f  PSNR first %5.2f (p5 %5.2f) last %5.2f dB\n",
               bits_ / seconds / 1e6, worstSecond_ / 1e6, decibels(meanOf(first_)),
               decibels(quantileOf(first_, 0.95)), decibels(meanOf(last_)));
        fflush(stdout);
    }

  private:
    bool printsFrames_;
    bool firstOfPicture_ = false;
    int frames_ = 0;
    int keys_ = 0;
    double bits_ = 0;
    double worstSecond_ = 0;
    std::deque<std::pair<int64_t, double>> second_;
    double bitsOfSecond_ = 0;
    std::vector<double> first_;  ///< errors of the first and of the last frame of each picture
    std::vector<double> last_;
};

Bytes recordOf(ByteView sps, ByteView pps) {
    Bytes record;
    for (const ByteView set : {sps, pps}) {
        std::array<uint8_t, 4> length{};
        storeBigEndian32(length.data(), static_cast<uint32_t>(set.size()));
        record.insert(record.end(), length.begin(), length.end());
        record.insert(record.end(), set.begin(), set.end());
    }
    return record;
}

/// The scene through this project's encoder.
class HostRun {
  public:
    explicit HostRun(const Options& options) : options_(options), report_(options.frames) {
        encoder_ = makeX264Encoder({.width = options.size.width,
                                    .height = options.size.height,
                                    .fps = options.fps,
                                    .bitrate = options.bitrate,
                                    .keyframeSeconds = 2},
                                   {.onSample = [this](const EncodedSample& sample) { keep(sample); },
                                    .ready = [] { return true; },
                                    .pictureWanted = [] {}},
                                   clock_);
    }

    Report run(const std::string& name) {
        ShownScene scene(name, {options_.size, options_.fps});
        const bool moves = scene.rate() > 0;
        const double interval = moves ? 1 / scene.rate() : options_.seconds;
        const int count = moves ? static_cast<int>(options_.seconds * scene.rate()) : 1;
        const double before = cpuOfOthers();
        for (int i = 0; i < count; ++i) {
            const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                std::chrono::duration<double>(interval));
            const PicturePtr picture = scene.show(static_cast<uint32_t>(i));
            report_.addPicture();
            const auto handedIn = Clock::now();
            encoder_->encode(picture, static_cast<uint64_t>(i * interval * 1e6));
            if (take(*picture, handedIn + std::chrono::seconds(10)))
                report_.latencies.push_back(
                    std::chrono::duration<double, std::milli>(taken_.at - handedIn).count());
            while (take(*picture, end)) {
            }
        }
        report_.cpu = cpuOfOthers() - before;
        encoder_->invalidate();
        return report_;
    }

  private:
    struct Frame {
        Bytes record;
        Bytes data;
        int64_t time = 0;
        Clock::time_point at;
    };

    void keep(const EncodedSample& sample) {
        const std::lock_guard guard(lock_);
        arrived_.push_back({recordOf(sample.sps, sample.pps),
                            {sample.data.begin(), sample.data.end()},
                            sample.presentationMicroseconds,
                            Clock::now()});
        changed_.notify_one();
    }

    /// Waits for one frame and compares it with what is shown.
    bool take(const Picture& shown, Clock::time_point deadline) {
        {
            std::unique_lock guard(lock_);
            if (!changed_.wait_until(guard, deadline, [this] { return !arrived_.empty(); })) return false;
            taken_ = std::move(arrived_.front());
            arrived_.pop_front();
        }
        if (taken_.record != record_) decoder_.configure(record_ = taken_.record);
        report_.addFrame(taken_.time, taken_.data, errorOf(decoder_.decode(taken_.data).picture, shown));
        return true;
    }

    const Options& options_;
    LinuxRunLoop clock_;
    VideoDecoder decoder_;
    Bytes record_;
    Frame taken_;
    Report report_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Frame> arrived_;
    std::unique_ptr<VideoEncoder> encoder_;
};

/// libx264 as ffmpeg sets it up with -preset ultrafast -tune zerolatency -profile:v main -b:v N.
class PeerRun {
  public:
    explicit PeerRun(const Options& options) : options_(options), report_(options.frames) {
        x264_param_t parameters;
        x264_param_default_preset(&parameters, "ultrafast", "zerolatency");
        parameters.i_width = options.size.width;
        parameters.i_height = options.size.height;
        parameters.i_csp = X264_CSP_I420;
        parameters.i_fps_num = static_cast<uint32_t>(options.fps);
        parameters.i_fps_den = 1;
        parameters.b_sliced_threads = 0;
        parameters.i_threads = X264_THREADS_AUTO;
        parameters.rc.i_rc_method = X264_RC_ABR;
        parameters.rc.i_bitrate = options.bitrate / 1000;
        parameters.b_annexb = 0;
        parameters.b_repeat_headers = 0;
        parameters.i_log_level = X264_LOG_NONE;
        x264_param_apply_profile(&parameters, "main");
        encoder_ = x264_encoder_open(&parameters);
        if (!encoder_) throw std::runtime_error("x264 does not open");
        x264_nal_t* units = nullptr;
        int count = 0;
        x264_encoder_headers(encoder_, &units, &count);
        const auto unit = [&](int i) {
            return ByteView(units[i].p_payload, static_cast<size_t>(units[i].i_payload)).subspan(4);
        };
        decoder_.configure(recordOf(unit(0), unit(1)));
    }
    ~PeerRun() { x264_encoder_close(encoder_); }
    PeerRun(const PeerRun&) = delete;
    PeerRun& operator=(const PeerRun&) = delete;

    Report run(const std::string& name) {
        ShownScene scene(name, {options_.size, options_.fps});
        const int ticks = static_cast<int>(options_.seconds * options_.fps);
        PicturePtr picture;
        uint32_t index = 0;
        for (int tick = 0; tick < ticks; ++tick) {
            const auto next = static_cast<uint32_t>(tick * scene.rate() / options_.fps + 1e-9);
            if (!picture || next != index) picture = scene.show(index = next);
            shown_[tick] = picture;
            encode(tick, picture.get());
        }
        while (x264_encoder_delayed_frames(encoder_) > 0) encode(ticks, nullptr);
        return report_;
    }

  private:
    void encode(int tick, const Picture* picture) {
        x264_picture_t input;
        x264_picture_init(&input);
        input.img.i_csp = X264_CSP_I420;
        input.img.i_plane = 3;
        input.i_pts = tick;
        for (size_t i = 0; picture && i < picture->planes.size(); ++i) {
            input.img.plane[i] = picture->planes[i].data;
            input.img.i_stride[i] = picture->planes[i].stride;
        }
        x264_nal_t* units = nullptr;
        int count = 0;
        x264_picture_t output;
        const double before = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
        const int size = x264_encoder_encode(encoder_, &units, &count, picture ? &input : nullptr, &output);
        report_.cpu += cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - before;
        if (size > 0) take(static_cast<int>(output.i_pts), {units[0].p_payload, static_cast<size_t>(size)});
    }

    void take(int tick, ByteView data) {
        const PicturePtr shown = shown_[tick];
        shown_.erase(tick);
        if (shown != compared_) report_.addPicture();
        compared_ = shown;
        report_.addFrame(tick * int64_t{1'000'000} / options_.fps, data,
                         errorOf(decoder_.decode(data).picture, *shown));
    }

    const Options& options_;
    x264_t* encoder_ = nullptr;
    VideoDecoder decoder_;
    Report report_;
    std::map<int, PicturePtr> shown_;  ///< what the encoder has not given back yet
    PicturePtr compared_;
};

Options parse(const std::vector<std::string>& words) {
    Options options;
    for (size_t i = 0; i < words.size(); ++i) {
        const auto value = [&] {
            if (++i >= words.size()) throw std::invalid_argument("a value is missing at the end");
            return words[i];
        };
        if (words[i] == "--fps") {
            options.fps = std::stoi(value());
        } else if (words[i] == "--bitrate") {
            options.bitrate = std::stoi(value());
        } else if (words[i] == "--seconds") {
            options.seconds = std::stod(value());
        } else if (words[i] == "--peer") {
            options.peer = true;
        } else if (words[i] == "--frames") {
            options.frames = true;
        } else if (words[i] == "--size") {
            const std::string text = value();
            size_t end = 0;
            options.size.width = std::stoi(text, &end);
            options.size.height = std::stoi(text.substr(end + 1));
        } else {
            options.scenes.push_back(words[i]);
        }
    }
    if (options.scenes.empty())
        options.scenes = {"still", "caret", "typing", "scroll", "drag", "video", "motion"};
    return options;
}

}  // namespace
}  // namespace quillon::bench

int main(int argc, char** argv) {
    using namespace quillon::bench;
    try {
        const Options options = parse({argv + 1, argv + argc});
        for (const auto& scene : options.scenes) {
            HostRun(options).run(scene).print(scene, "host", options.seconds);
            if (options.peer) PeerRun(options).run(scene).print(scene, "x264", options.seconds);
        }
    } catch (const std::exception& problem) {
        fprintf(stderr, "quillon-encoder-bench: %s\n", problem.what());
        return 1;
    }
    return 0;
}
