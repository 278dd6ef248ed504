#include "session/stream_pipeline.hpp"

#include "transport/wire_protocol.hpp"

namespace quillon {

namespace {
constexpr Duration kPatternTolerance = 1ms;
}

StreamPipeline::StreamPipeline(Parts parts, const EncoderSettings& settings)
    : parts_(std::move(parts)),
      settings_(settings),
      credit_(std::make_shared<FrameCredit>(parts_.platform.mainLoop(), parts_.link, parts_.watchdog,
                                            settings.fps)) {
    const auto factory = [&platform = parts_.platform](const EncoderSettings& asked,
                                                       EncoderCallbacks callbacks) {
        return platform.makeEncoder(asked, std::move(callbacks));
    };
    encoder_ = std::make_shared<H264Encoder>(factory, settings.width, settings.height, settings.fps,
                                             settings.bitrate, settings.keyframeSeconds);
    connectEncoder();
}

StreamPipeline::~StreamPipeline() {
    if (encoder_) encoder_->invalidate();
}

void StreamPipeline::connectEncoder() {
    encoder_->onConfig = [link = parts_.link](ByteView record) {
        link->send(wire::MessageType::codecConfiguration, 0, record, PacketWriter::Kind::control);
    };
    encoder_->onFrame = [parts = parts_](ByteView frame, uint64_t pts) {
        parts.watchdog->noteFrame();
        parts.link->send(wire::MessageType::videoFrame, pts, frame, PacketWriter::Kind::video);
        const auto stats =
            parts.statistics->record(parts.platform.mainLoop().now(), frame.size(), parts.link->dropped());
        if (stats) parts.onStats(*stats);
    };
    encoder_->ready = [credit = credit_] { return credit->ask(); };
    encoder_->linkSpeed = [link = parts_.link]() -> std::optional<double> {
        const auto bytes = link->speed();
        return bytes ? std::optional(8 * *bytes) : std::nullopt;
    };
}

StreamPipeline::Capturing StreamPipeline::startCapture(const CaptureStart& start) {
    auto& platform = parts_.platform;
    capture_ =
        ScreenSource::make(platform.mainLoop(), platform.threads(), platform.capture(), platform.displays());
    // The source keeps the encoder, which knows it weakly: pictures that are on their way when the pipeline
    // goes still find an encoder, and the two do not keep each other.
    capture_->onFrame = [encoder = encoder_](const PicturePtr& picture, uint64_t microseconds) {
        encoder->encode(picture, microseconds);
    };
    capture_->ready = [encoder = encoder_, credit = credit_] {
        return encoder->acceptsPicture() && credit->ask();
    };
    capture_->onEnd = parts_.onCaptureEnded;
    encoder_->pictureWanted = [source = std::weak_ptr<ScreenSource>(capture_)] {
        if (const auto capture = source.lock()) capture->requestPicture();
    };
    ScreenSource::StartRequest request;
    request.displayID = start.displayID;
    request.displayIndex = start.displayIndex;
    request.width = captureWidth();
    request.height = captureHeight();
    request.fps = settings_.fps;
    request.showCursor = false;  // the cursor feed carries the pointer
    request.scaling = start.scaling;
    request.timeBase = start.timeBase;
    request.pace = start.pace;
    return {capture_, ScreenSource::start(capture_, request)};
}

void StreamPipeline::startPattern(Size size, Instant timeBase) {
    auto& platform = parts_.platform;
    patternSource_ = std::make_unique<PatternSource>(platform.patternCanvases(), platform.mainLoop(),
                                                     size.width, size.height);
    patternTimer_ = platform.mainLoop().addTimer(
        seconds(1.0 / settings_.fps), RunLoop::Repeat::forever, [this, timeBase] { encodePattern(timeBase); },
        kPatternTolerance);
}

void StreamPipeline::encodePattern(Instant timeBase) {
    if (!encoder_->acceptsPicture() || !credit_->ask()) return;
    const Instant now = parts_.platform.mainLoop().now();
    if (auto picture = patternSource_->makePixelBuffer()) {
        encoder_->encode(std::move(picture), sessionMicroseconds(timeBase, now));
    }
}

void StreamPipeline::stop(TaskScope& background) {
    patternTimer_.reset();
    patternSource_.reset();
    if (capture_) background.start(ScreenSource::stop(std::exchange(capture_, nullptr)));
    encoder_->invalidate();
}

}  // namespace quillon
