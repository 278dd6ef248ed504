#include "platform/simulated/media.hpp"

#include <algorithm>
#include <utility>

namespace quillon::simulated {

/// Delivers from events of the machine, as if each ran on the capture's own thread for a moment.
class SimulatedCapture::Stream : public CaptureStream, public std::enable_shared_from_this<Stream> {
  public:
    Stream(SimulatedCapture& owner, const CaptureRequest& request, CaptureCallbacks callbacks)
        : owner_(owner), request_(request), callbacks_(std::move(callbacks)) {
        ++owner_.streams;
        owner_.running_.push_back(this);
    }
    ~Stream() override { stop(); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void stop() override {
        if (std::exchange(stopped_, true)) return;
        --owner_.streams;
        std::erase(owner_.running_, this);
    }

    void requestPicture() override { change(); }

    void change() {
        if (std::exchange(changed_, true)) return;
        const Instant due = std::max(owner_.machine_.now(), last_ + seconds(1.0 / std::max(1, request_.fps)));
        owner_.machine_.at(due, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->deliver();
        });
    }

    void end(const std::string& reason) {
        stop();
        callbacks_.onEnd(reason);
    }

  private:
    void deliver() {
        if (stopped_) return;
        if (!callbacks_.ready()) {
            owner_.machine_.after(4ms, [weak = weak_from_this()] {
                if (const auto self = weak.lock()) self->deliver();
            });
            return;
        }
        changed_ = false;
        last_ = owner_.machine_.now();
        ++owner_.pictures;
        auto picture = std::make_shared<Picture>();
        picture->format = Picture::Format::native;
        picture->width = request_.output.width;
        picture->height = request_.output.height;
        picture->sequence = ++sequence_;
        callbacks_.onPicture(std::move(picture));
    }

    SimulatedCapture& owner_;
    const CaptureRequest request_;
    CaptureCallbacks callbacks_;
    bool stopped_ = false;
    bool changed_ = false;
    Instant last_;
    uint64_t sequence_ = 0;
};

SimulatedCapture::~SimulatedCapture() {
    *alive_ = false;
}

void SimulatedCapture::change() {
    for (Stream* const stream : std::vector<Stream*>(running_)) stream->change();
}

void SimulatedCapture::animate(double fps) {
    animation_ = fps;
    const uint64_t number = ++animationNumber_;
    if (fps <= 0) return;
    struct Next {
        SimulatedCapture& capture;
        uint64_t number;
        void operator()() const {
            if (number != capture.animationNumber_) return;
            capture.change();
            capture.machine_.after(seconds(1.0 / capture.animation_),
                                   [alive = std::weak_ptr<bool>(capture.alive_), next = *this] {
                                       if (!alive.expired()) next();
                                   });
        }
    };
    Next{*this, number}();
}

void SimulatedCapture::end(const std::string& reason) {
    for (Stream* const stream : std::vector<Stream*>(running_)) stream->end(reason);
}

std::vector<Capture::Display> SimulatedCapture::shareableDisplays() {
    if (!shareableFailure.empty()) throw CaptureFailure(shareableFailure);
    std::vector<Display> listed;
    for (const auto& each : displays_.all) {
        listed.push_back(
            {each.id, {static_cast<int>(each.bounds.width), static_cast<int>(each.bounds.height)}});
    }
    return listed;
}

namespace {
/// Gives the caller sole ownership of a stream that pending events watch weakly.
class OwnedStream : public CaptureStream {
  public:
    explicit OwnedStream(std::shared_ptr<CaptureStream> stream) : stream_(std::move(stream)) {}
    ~OwnedStream() override { stream_->stop(); }
    OwnedStream(const OwnedStream&) = delete;
    OwnedStream& operator=(const OwnedStream&) = delete;
    void stop() override { stream_->stop(); }
    void requestPicture() override { stream_->requestPicture(); }

  private:
    std::shared_ptr<CaptureStream> stream_;
};
}  // namespace

std::unique_ptr<CaptureStream> SimulatedCapture::start(const CaptureRequest& request,
                                                       CaptureCallbacks callbacks) {
    requests.push_back(request);
    Machine::WaitPoint never;
    machine_.wait(never, machine_.now() + startDelay);
    if (!startFailure.empty()) throw CaptureFailure(startFailure);
    auto stream = std::make_shared<Stream>(*this, request, std::move(callbacks));
    stream->change();
    return std::make_unique<OwnedStream>(stream);
}

namespace {

class SimulatedEncoder : public VideoEncoder {
  public:
    SimulatedEncoder(Machine& machine, Threads& threads, EncoderBehaviour& behaviour,
                     const EncoderSettings& settings, EncoderCallbacks callbacks)
        : machine_(machine),
          behaviour_(behaviour),
          settings_(settings),
          callbacks_(std::move(callbacks)),
          queue_(threads.makeSerialQueue(".encoder", Priority::userInteractive)) {
        ++behaviour_.living;
    }
    ~SimulatedEncoder() override {
        invalidate();
        --behaviour_.living;
    }
    SimulatedEncoder(const SimulatedEncoder&) = delete;
    SimulatedEncoder& operator=(const SimulatedEncoder&) = delete;

    bool acceptsPicture() const override { return !waiting_; }

    void encode(PicturePtr, uint64_t presentationMicroseconds) override {
        if (!queue_) return;
        pts_ = presentationMicroseconds;
        if (std::exchange(waiting_, true)) return;
        queue_->async([this] { encodeWaiting(); });
    }

    void invalidate() override { queue_.reset(); }

  private:
    void encodeWaiting() {
        waiting_ = false;
        if (!callbacks_.ready()) {
            callbacks_.pictureWanted();
            return;
        }
        const uint64_t pts = pts_;
        Machine::WaitPoint busy;
        machine_.wait(busy, machine_.now() + behaviour_.time);
        const uint64_t interval = static_cast<uint64_t>(settings_.keyframeSeconds) * 1'000'000;
        const bool isKeyframe = !started_ || pts >= lastKeyframe_ + interval;
        if (isKeyframe) lastKeyframe_ = pts;
        started_ = true;
        data_.assign(isKeyframe ? behaviour_.keyframeBytes : behaviour_.frameBytes, isKeyframe ? 0x65 : 0x41);
        static constexpr std::array<uint8_t, 4> kSps{0x67, 77, 0, 40};
        static constexpr std::array<uint8_t, 2> kPps{0x68, 1};
        callbacks_.onSample({0, false, kSps, kPps, data_, static_cast<int64_t>(pts)});
    }

    Machine& machine_;
    EncoderBehaviour& behaviour_;
    const EncoderSettings settings_;
    EncoderCallbacks callbacks_;
    Bytes data_;
    uint64_t pts_ = 0;
    uint64_t lastKeyframe_ = 0;
    bool waiting_ = false;
    bool started_ = false;
    std::unique_ptr<SerialQueue> queue_;
};

class SimulatedCanvas : public PatternCanvas {
  public:
    SimulatedCanvas(int width, int height) {
        auto memory = std::make_shared<Bytes>(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
        picture_->format = Picture::Format::bgra;
        picture_->width = width;
        picture_->height = height;
        picture_->planes[0] = {memory->data(), width * 4};
        picture_->memory = std::move(memory);
    }
    void fillRectangle(double, double, double, double, Color) override {}
    void fillEllipse(double, double, double, double, Color) override {}
    void strokeRectangle(double, double, double, double, double, Color) override {}
    void drawText(const std::string&, double, double, double, Weight, Color) override {}
    PicturePtr finish() override { return std::move(picture_); }

  private:
    std::shared_ptr<Picture> picture_ = std::make_shared<Picture>();
};

}  // namespace

std::unique_ptr<VideoEncoder> makeSimulatedEncoder(Machine& machine, Threads& threads,
                                                   EncoderBehaviour& behaviour,
                                                   const EncoderSettings& settings,
                                                   EncoderCallbacks callbacks) {
    ++behaviour.made;
    behaviour.settings.push_back(settings);
    if (behaviour.refuses) throw EncoderFailure(-12902, "VTCompressionSessionCreate failed: -12902");
    return std::make_unique<SimulatedEncoder>(machine, threads, behaviour, settings, std::move(callbacks));
}

std::unique_ptr<PatternCanvas> SimulatedPatternCanvases::make(int width, int height) {
    if (width <= 0 || height <= 0) return nullptr;
    ++made;
    return std::make_unique<SimulatedCanvas>(width, height);
}

}  // namespace quillon::simulated
