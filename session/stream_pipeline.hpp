#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "media/h264_encoder.hpp"
#include "media/pattern_source.hpp"
#include "media/screen_source.hpp"
#include "platform/platform.hpp"
#include "platform/task.hpp"
#include "session/frame_credit.hpp"
#include "session/link.hpp"
#include "session/silence_watchdog.hpp"
#include "session/statistics.hpp"

namespace quillon {

/// From pixels to the link: a source (the screen or the test pattern), the encoder, and the messages made
/// of its output. Made for one link and one encoder setting; a change of either is a new pipeline.
///
///     ScreenSource ──picture, time──▶ H264Encoder ──types 1, 2──▶ Link ──▶ device
///           ▲                              ▲                       │
///           └───────── FrameCredit ────────┴───────────────────────┘
///
/// Made, started and stopped on the main thread. Pictures come on the capture's thread, encoded frames on
/// the encoder's.
class StreamPipeline {
  public:
    struct Parts {
        Platform& platform;
        std::shared_ptr<Link> link;
        std::shared_ptr<Statistics> statistics;
        std::shared_ptr<SilenceWatchdog> watchdog;
        std::function<void(SessionStats)> onStats;        ///< encoder's thread, once a second
        std::function<void(std::string)> onCaptureEnded;  ///< main thread: capture ended by itself
    };

    /// Builds the encoder; throws EncoderFailure.
    StreamPipeline(Parts parts, const EncoderSettings& settings);
    ~StreamPipeline();
    StreamPipeline(const StreamPipeline&) = delete;
    StreamPipeline& operator=(const StreamPipeline&) = delete;

    /// Encoded raster, pixels.
    int captureWidth() const { return settings_.width; }
    int captureHeight() const { return settings_.height; }

    struct CaptureStart {
        std::optional<DisplayID> displayID;
        int displayIndex = 0;
        Scaling scaling = Scaling::fit;
        Instant timeBase;
        bool pace = false;
    };
    /// Makes the capture source; the task that comes with it starts it, and throws what
    /// `ScreenSource::start` throws. Whoever awaits the task stops the source if it is no longer wanted by
    /// then.
    struct Capturing {
        std::shared_ptr<ScreenSource> source;
        Task<> start;
    };
    Capturing startCapture(const CaptureStart& start);

    /// Starts streaming the test pattern, `size` in pixels.
    void startPattern(Size size, Instant timeBase);

    /// Ends source and encoder; what the encoder still holds is sent if the link stands. The capture's own
    /// end goes on in `background`.
    void stop(TaskScope& background);

  private:
    void connectEncoder();
    void encodePattern(Instant timeBase);

    const Parts parts_;
    const EncoderSettings settings_;
    const std::shared_ptr<FrameCredit> credit_;
    std::shared_ptr<H264Encoder> encoder_;
    std::shared_ptr<ScreenSource> capture_;
    std::unique_ptr<PatternSource> patternSource_;
    std::unique_ptr<Timer> patternTimer_;
};

}  // namespace quillon
