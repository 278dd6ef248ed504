#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <thread>

namespace quillon::testing {

/// A way to an X server on which a test can hold up any request: what it does meanwhile over other ways
/// happens exactly there. Passes no descriptors on, so the server must not offer MIT-SHM.
class X11Gate {
  public:
    struct Request {
        uint8_t major = 0;  ///< of the extension, or of the core protocol
        uint8_t minor = 0;  ///< meaningful for extensions
        auto operator<=>(const Request&) const = default;
    };
    /// Called on the gate's thread before the server gets a request.
    using Guard = std::function<void(const Request&)>;

    /// To the server with this name (":7").
    X11Gate(const std::string& server, Guard guard);
    ~X11Gate();
    X11Gate(const X11Gate&) = delete;
    X11Gate& operator=(const X11Gate&) = delete;

    /// The gate's name as DISPLAY takes it.
    std::string display() const;

  private:
    struct Passage;

    void run();
    void admit();
    bool passRequests(Passage& passage) const;

    const std::string server_;  ///< its socket
    const Guard guard_;
    const int listener_;  ///< on a loopback port
    const int wake_;
    std::list<Passage> passages_;  ///< gate's thread only
    std::thread thread_;
};

}  // namespace quillon::testing
