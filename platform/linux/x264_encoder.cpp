#include "platform/linux/x264_encoder.hpp"

#include <libyuv/scale_argb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <thread>
#include <utility>

#include "base/thread_annotations.hpp"
#include "platform/linux/bgrx_to_i420.hpp"
#include "platform/linux/threads.hpp"
#include "platform/linux/x264_change_map.hpp"
#include "platform/linux/x264_content_probe.hpp"
#include "platform/linux/x264_encode_load.hpp"
#include "platform/linux/x264_keyframe_cadence.hpp"
#include "platform/linux/x264_link_estimate.hpp"
#include "platform/linux/x264_rate_controller.hpp"
#include "platform/linux/x264_session.hpp"

namespace quillon {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// A picture that x264 cannot take: wrong size or format.
constexpr int kUnusablePicture = -2;

/// So long no picture must have come before the last one is improved.
constexpr Duration kRestBeforeRefinement = std::chrono::microseconds(RateController::kRest);
/// Between two steps of the improvement, so that a picture that comes meanwhile waits for one at most.
constexpr Duration kBetweenRefinements = 50ms;
/// While there are no bits for one, it waits twice as long each time, and gives up after this.
constexpr Duration kLongestPatience = 4s;
/// While the link is busy a picture asks again so soon, as long as it is the newest.
constexpr Duration kBetweenQuestions = 1ms;
/// With a smaller share of text in what has changed it is searched for as film is.
constexpr double kLeastText = 0.25;
// While the link is busy an improvement asks again, less and less often.
constexpr Duration kFirstRetry = 4ms;
constexpr Duration kLastRetry = 64ms;
// A link that is busy for too long is asked again so often, later after every eighth of the time.
constexpr Duration kBetweenProbes = 8ms;
constexpr int kProbePrecision = 8;

/// Room for one converted picture.
class I420Buffer {
  public:
    I420Buffer(int width, int height) : width_(width), height_(height) {}

    /// Takes a BGRA picture, scaled to this size. False when it cannot be converted.
    bool convert(const Picture& picture) {
        if (memory_.empty()) allocate();
        Picture::Plane source = picture.planes[0];
        if (picture.width != width_ || picture.height != height_) {
            scaled_.resize(static_cast<size_t>(width_) * height_ * 4);
            const Picture::Plane target{scaled_.data(), width_ * 4};
            if (libyuv::ARGBScale(source.data, source.stride, picture.width, picture.height, target.data,
                                  target.stride, width_, height_, libyuv::kFilterBox) != 0) {
                return false;
            }
            source = target;
        }
        convertBgrxToI420({source.data, source.stride}, {width_, height_}, planes_);
        return true;
    }
    const std::array<Picture::Plane, 3>& planes() const { return planes_; }

  private:
    void allocate() {
        const size_t luma = static_cast<size_t>(width_) * height_;
        memory_.resize(luma * 3 / 2);
        planes_ = {{{memory_.data(), width_},
                    {memory_.data() + luma, width_ / 2},
                    {memory_.data() + luma + luma / 4, width_ / 2}}};
    }

    int width_;
    int height_;
    Bytes memory_;
    Bytes scaled_;
    std::array<Picture::Plane, 3> planes_{};
};

class X264Encoder : public VideoEncoder {
  public:
    X264Encoder(const EncoderSettings& settings, EncoderCallbacks callbacks, RunLoop& clock)
        : settings_(settings),
          callbacks_(std::move(callbacks)),
          clock_(clock),
          session_(settings),
          arrived_(settings.width, settings.height),
          changes_(settings.width, settings.height),
          probe_(settings.width, settings.height),
          rate_(settings.bitrate, settings.fps, changes_.macroblocks()),
          cadence_(settings.fps, settings.keyframeSeconds),
          frameInterval_(seconds(1.0 / std::max(1, settings.fps))),
          load_(frameInterval_),
          link_(frameInterval_),
          converted_(settings.width, settings.height) {
        arrived_.markAll();
        thread_ = std::thread([this] {
            nameThisThread(".encoder");
            serve();
        });
    }
    ~X264Encoder() override { invalidate(); }
    X264Encoder(const X264Encoder&) = delete;
    X264Encoder& operator=(const X264Encoder&) = delete;

    bool acceptsPicture() const override {
        const MutexLock guard(lock_);
        return !ending_ && !waiting_.picture;
    }

    void encode(PicturePtr picture, uint64_t presentationMicroseconds) override {
        const Instant now = clock_.now();
        {
            const MutexLock guard(lock_);
            if (ending_ || !picture) return;
            account(*picture);
            waiting_.picture.swap(picture);
            waiting_.time = static_cast<int64_t>(presentationMicroseconds);
            waiting_.handedIn = now;
        }
        wake_.notify_one();
    }  // a replaced picture is let go out here

    void invalidate() override {
        {
            const MutexLock guard(lock_);
            ending_ = true;
        }
        wake_.notify_one();
        const MutexLock joining(joinLock_);
        if (thread_.joinable()) thread_.join();
    }

  private:
    struct Submission {
        PicturePtr picture;
        int64_t time = 0;  ///< of presentation, microseconds
        Instant handedIn;
    };

    bool fits(const Picture& picture) const {
        return picture.width == settings_.width && picture.height == settings_.height;
    }

    /// Notes where `picture` differs from the one submitted before it.
    void account(const Picture& picture) REQUIRES(lock_) {
        const bool isSame = picture.sequence != 0 && picture.sequence == lastSequence_;
        const bool isNext = picture.sequence != 0 && picture.sequence == lastSequence_ + 1 && fits(picture);
        lastSequence_ = picture.sequence;
        if (isNext) {
            for (const PixelRect& rect : picture.damage) arrived_.mark(rect);
        } else if (!isSame) {
            arrived_.markAll();
        }
    }

    void serve() {
        MutexLock guard(lock_);
        for (;;) {
            if (waiting_.picture) {
                const Submission submission = std::exchange(waiting_, {});
                changes_.merge(arrived_);
                arrived_.clear();
                guard.unlock();
                take(submission);
                guard.lock();
            } else if (ending_) {
                return;
            } else if (!canImprove_ && !probes_) {
                wake_.wait(guard);
            } else if (wake_.wait_until(guard, nextAlarm()) == std::cv_status::timeout && !waiting_.picture &&
                       !ending_) {
                guard.unlock();
                probes_ ? probe() : improve();
                guard.lock();
            }
        }
    }

    SteadyClock::time_point nextAlarm() const { return probes_ ? nextProbe_ : nextImprovement_; }

    /// Asks whether the link can take a frame, and learns how fast it is.
    bool askLink() {
        const bool free = callbacks_.ready();
        if (free) {
            link_.sawFree(clock_.now(), callbacks_.linkSpeed());
            rate_.setLink(link_.bitsPerSecond());
            probes_ = false;
        } else {
            link_.sawBusy(clock_.now());
        }
        return free;
    }

    /// A frame interval has passed and no picture came: is it the screen that rests, or the link that is
    /// still busy?
    void probe() {
        if (askLink()) return;
        const auto now = SteadyClock::now();
        nextProbe_ = now + std::max(kBetweenProbes, Duration(now - sentAt_) / kProbePrecision);
    }

    /// Asks again for a moment: what the link still holds of a key frame is often gone in a few
    /// milliseconds, and the picture after it is then not lost. A newer picture ends the wait.
    bool waitForLink() {
        const auto deadline = SteadyClock::now() + frameInterval_;
        while (!askLink()) {
            MutexLock guard(lock_);
            const auto now = SteadyClock::now();
            if (ending_ || waiting_.picture || now >= deadline) return false;
            wake_.wait_until(guard, now + kBetweenQuestions);
        }
        return true;
    }

    void take(const Submission& submission) {
        if (!waitForLink()) {
            canImprove_ = false;
            current_.picture.reset();
            callbacks_.pictureWanted();
            return;
        }
        if (!load(submission)) {
            fail(kUnusablePicture, submission.time);
            return;
        }
        const auto begun = SteadyClock::now();
        encodeFrame(submission.time);
        load_.encoded(SteadyClock::now() - begun);
        scheduleImprovement(kRestBeforeRefinement);
    }

    /// Makes the submission's pixels the current picture.
    bool load(const Submission& submission) {
        const Picture& picture = *submission.picture;
        current_ = submission;
        if (picture.format == Picture::Format::i420) {
            planes_ = picture.planes;
            return fits(picture);
        }
        if (picture.format != Picture::Format::bgra || !converted_.convert(picture)) return false;
        planes_ = converted_.planes();
        current_.picture.reset();  // its source may draw into it again
        return true;
    }

    /// Encodes the last picture once more with nothing changed, at a finer quantiser.
    void improve() {
        if (!askLink()) {
            nextImprovement_ = SteadyClock::now() + retry_;
            retry_ = std::min(retry_ * 2, kLastRetry);
            return;
        }
        const auto passed =
            std::chrono::duration_cast<std::chrono::microseconds>(clock_.now() - current_.handedIn);
        const int64_t time = current_.time + passed.count();
        const bool isOverdue = patience_ * 2 > kLongestPatience;
        if (rate_.canRefine(requestFor(time, probe_.still(), isOverdue))) {
            encodeFrame(time, isOverdue);
            scheduleImprovement(kBetweenRefinements);
        } else {
            nextImprovement_ = SteadyClock::now() + patience_;
            patience_ *= 2;
            canImprove_ = patience_ <= kLongestPatience;
            if (!canImprove_) current_.picture.reset();
        }
    }

    void scheduleImprovement(Duration pause) {
        retry_ = kFirstRetry;
        patience_ = kBetweenRefinements;
        nextImprovement_ = SteadyClock::now() + pause;
        canImprove_ = !rate_.isRefined();
        if (!canImprove_) current_.picture.reset();
    }

    /// Encodes the current picture with all that has changed since the last frame, and delivers it.
    void encodeFrame(int64_t presentationTime, bool isOverdue = false) {
        const int64_t time = std::max(presentationTime, lastTime_);
        lastTime_ = time;
        const PictureContent content = probe_.look(planes_[0], changes_);
        const RateController::Request request = requestFor(time, content, isOverdue);
        if (content.changedMacroblocks > 0) session_.setSearch(searchFor(content));
        const bool isKey = request.kind == RateController::Kind::key;
        const int qp = rate_.choose(request);
        const X264Session::Frame frame =
            session_.encode(planes_, isKey ? X264Session::FrameType::key : X264Session::FrameType::delta, qp,
                            changes_.constancy());
        if (frame.status != 0) {
            fail(frame.status, time);
            return;
        }
        cadence_.encoded(isKey, time);
        const double bits = 8.0 * static_cast<double>(frame.data.size());
        rate_.encoded(request, qp, bits);
        changes_.clear();
        probes_ = link_.sent(clock_.now(), bits);
        sentAt_ = SteadyClock::now();
        nextProbe_ = sentAt_ + frameInterval_;
        callbacks_.onSample({.dropped = frame.data.empty(),
                             .sps = session_.sps(),
                             .pps = session_.pps(),
                             .data = frame.data,
                             .presentationMicroseconds = time});
    }

    RateController::Request requestFor(int64_t time, const PictureContent& content, bool isOverdue) const {
        const bool isKey = cadence_.isDue(time);
        return {.kind = isKey ? RateController::Kind::key : RateController::Kind::change,
                .time = time,
                .nextKey = cadence_.next(),
                .content = content,
                .isOverdue = isOverdue,
                .isHurried = load_.isHigh()};
    }

    static X264Session::Search searchFor(const PictureContent& content) {
        return content.sharpness < kLeastText ? X264Session::Search::near : X264Session::Search::wide;
    }

    /// Reports a frame that did not come about; the next one begins anew.
    void fail(int status, int64_t time) {
        cadence_.restart();
        changes_.markAll();
        canImprove_ = false;
        callbacks_.onSample({.status = status, .presentationMicroseconds = time});
    }

    // Constant after construction.
    const EncoderSettings settings_;
    const EncoderCallbacks callbacks_;
    RunLoop& clock_;

    // Encoder's thread only.
    X264Session session_;

    mutable Mutex lock_;
    std::condition_variable_any wake_;
    Submission waiting_ GUARDED_BY(lock_);
    ChangeMap arrived_ GUARDED_BY(lock_);  ///< changed since the thread took a picture last
    uint64_t lastSequence_ GUARDED_BY(lock_) = 0;
    bool ending_ GUARDED_BY(lock_) = false;

    // Encoder's thread only.
    ChangeMap changes_;  ///< since the last frame, refused pictures included
    ContentProbe probe_;
    RateController rate_;
    KeyframeCadence cadence_;
    const Duration frameInterval_;
    EncodeLoad load_;
    LinkEstimate link_;
    bool probes_ = false;  ///< the link has a frame and has not been seen free since
    SteadyClock::time_point nextProbe_;
    SteadyClock::time_point sentAt_;
    I420Buffer converted_;
    Submission current_;  ///< its picture while `planes_` are that picture's own
    std::array<Picture::Plane, 3> planes_{};
    int64_t lastTime_ = 0;
    bool canImprove_ = false;
    SteadyClock::time_point nextImprovement_;
    Duration retry_ = kFirstRetry;
    Duration patience_ = kBetweenRefinements;

    Mutex joinLock_;
    std::thread thread_;  ///< started last; joined under joinLock_
};

}  // namespace

std::unique_ptr<VideoEncoder> makeX264Encoder(const EncoderSettings& settings, EncoderCallbacks callbacks,
                                              RunLoop& clock) {
    return std::make_unique<X264Encoder>(settings, std::move(callbacks), clock);
}

}  // namespace quillon
