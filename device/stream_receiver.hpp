#pragma once

#include <functional>
#include <memory>

#include "device/message_reader.hpp"
#include "device/output_file.hpp"
#include "device/screen.hpp"

namespace quillon::device {

/// Turns the messages of one link into what the screen shows. Link thread.
class StreamReceiver {
  public:
    enum class Frames { decoded, undecoded };
    /// `frameReady` gets each frame: a decoded one after the screen has it, an undecoded one without a
    /// picture.
    using FrameReady = std::function<void(const std::shared_ptr<const Frame>&)>;

    StreamReceiver(std::shared_ptr<HostLink> link, Frames frames, Screen& screen, Statistics& statistics,
                   OutputFile& recording, OutputFile& messageLog, FrameReady frameReady);

    void take(const Message& message);

  private:
    void takeText(const Message& message);
    void takeNumber(const Message& message);
    void takeCursor(const Message& message);
    void takeFrame(const Message& message);
    void log(const Message& message);

    std::shared_ptr<HostLink> link_;
    const Frames frames_;
    Screen& screen_;
    Statistics& statistics_;
    OutputFile& recording_;
    OutputFile& messageLog_;
    FrameReady frameReady_;
    VideoDecoder decoder_;
    Size pictureSize_;
};

}  // namespace quillon::device
