#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/capture.hpp"
#include "platform/pattern_canvas.hpp"
#include "platform/simulated/desktop.hpp"
#include "platform/simulated/machine.hpp"
#include "platform/threads.hpp"
#include "platform/video_encoder.hpp"

namespace quillon::simulated {

/// Captures the simulated displays. The picture of a screen is just its size: tests change the screen
/// with `change` and see what is asked for, when.
class SimulatedCapture : public Capture {
  public:
    SimulatedCapture(Machine& machine, SimulatedDisplays& displays)
        : machine_(machine), displays_(displays) {}
    ~SimulatedCapture() override;
    SimulatedCapture(const SimulatedCapture&) = delete;
    SimulatedCapture& operator=(const SimulatedCapture&) = delete;

    // Faults.
    std::string shareableFailure;  ///< not empty: listing fails with these words
    std::string startFailure;
    Duration startDelay = 5ms;

    // What happened.
    std::vector<CaptureRequest> requests;
    int streams = 0;  ///< running now
    int pictures = 0;

    /// Something on the screen changes: each running stream hands over a picture as soon as it may.
    void change();
    /// The screen changes at `fps` from now on; 0 stops.
    void animate(double fps);
    /// Each running stream ends by itself.
    void end(const std::string& reason);

    std::vector<Display> shareableDisplays() override;
    std::unique_ptr<CaptureStream> start(const CaptureRequest& request, CaptureCallbacks callbacks) override;

  private:
    class Stream;
    Machine& machine_;
    SimulatedDisplays& displays_;
    std::vector<Stream*> running_;
    double animation_ = 0;
    uint64_t animationNumber_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

/// How the simulated encoder behaves.
struct EncoderBehaviour {
    bool refuses = false;  ///< creation fails
    size_t keyframeBytes = 60000;
    size_t frameBytes = 6000;
    Duration time = 3ms;  ///< per picture
    int made = 0;
    int living = 0;
    std::vector<EncoderSettings> settings;
};

std::unique_ptr<VideoEncoder> makeSimulatedEncoder(Machine& machine, Threads& threads,
                                                   EncoderBehaviour& behaviour,
                                                   const EncoderSettings& settings,
                                                   EncoderCallbacks callbacks);

/// Canvases that keep no drawing.
class SimulatedPatternCanvases : public PatternCanvases {
  public:
    int made = 0;
    std::unique_ptr<PatternCanvas> make(int width, int height) override;
    std::string wallClock() override { return "12:34:56.789"; }
};

}  // namespace quillon::simulated
