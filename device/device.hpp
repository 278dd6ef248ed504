#pragma once

#include <thread>

#include "base/thread_annotations.hpp"
#include "device/announcement.hpp"
#include "device/finger.hpp"
#include "device/link_server.hpp"
#include "device/options.hpp"
#include "device/output_file.hpp"
#include "device/screen.hpp"
#include "device/statistics.hpp"
#include "device/usbmux_server.hpp"

namespace quillon::device {

/// The device without its glass: serves hosts one after another on a thread of its own.
///
/// Threads: the link thread accepts a host, reads and decodes, sends keep-alives and scripted messages.
/// The mux server's thread hands over hosts that came through it; the announcement has a thread too. The main
/// thread owns this object and, with a window, shows the screen's frames and sends touches.
class Device {
  public:
    /// Where frames become shown: here, as soon as they are decoded, or in a window that says so.
    enum class Shown { whenDecoded, byWindow };

    /// Opens the files of the options. Throws std::runtime_error when one cannot be made.
    Device(const Options& options, Shown shown);
    /// Ends the link and joins.
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Listens and begins to serve. Throws std::runtime_error when it cannot listen.
    void start();

    /// The TCP port; 0 before `start` and without TCP.
    uint16_t port() const { return port_; }

    /// Serves a host that came another way than by the options; after the hosts that came before. Any thread.
    void offer(Descriptor host) { server_.offer(std::move(host)); }

    /// Ends the link and serves no more; everything counted so far stays. Main thread.
    void stop();

    /// Writes snapshot and summary. After `stop`. Throws std::runtime_error when it cannot.
    void writeResults() const;

    /// The user's finger at a place of the picture, as fractions of it: sends the touch of the host's display
    /// there, if it is one. Any thread.
    void touch(uint8_t action, Point inPicture) EXCLUDES(fingerLock_);
    /// Is the finger down on the display?
    bool isTouched() const EXCLUDES(fingerLock_);

    /// The user sees `frame` now: counts, logs and acknowledges it. Any thread, one at a time.
    void frameShown(const Frame& frame);

    Screen& screen() { return screen_; }
    Statistics& statistics() { return statistics_; }

  private:
    void startMux(const std::string& socket);
    void serve();
    void serveHost(LinkServer::Host host);
    void logCounter(const Frame& frame);
    void writeSnapshot() const;

    const Options options_;
    const Shown shown_;
    OutputFile recording_;
    OutputFile messageLog_;
    OutputFile counterLog_;
    Statistics statistics_;
    Screen screen_;
    mutable Mutex fingerLock_;
    Finger finger_ GUARDED_BY(fingerLock_);
    LinkServer server_;
    uint16_t port_ = 0;
    std::optional<UsbmuxServer> mux_;
    std::optional<Announcement> announcement_;
    std::thread linkThread_;
};

}  // namespace quillon::device
