#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace quillon::testing {

/// A real X server without a graphics card (Xorg with the dummy driver: sixteen RandR outputs, the first
/// active with 1920x1080), for one test. DISPLAY names it as long as it exists.
class XorgServer {
  public:
    /// Why there can be none on this machine; empty when there can.
    static std::string missing();

    /// Starts a server with further command-line arguments. Null when it did not come up.
    static std::unique_ptr<XorgServer> start(const std::vector<std::string>& arguments = {});

    ~XorgServer();
    XorgServer(const XorgServer&) = delete;
    XorgServer& operator=(const XorgServer&) = delete;

    const std::string& display() const { return display_; }

    /// What the server holds of the machine's memory.
    long residentKiB() const;

    /// Kills the server without a farewell. Nobody gets its number while this object lives.
    void kill();

    /// Runs `xrandr` with these arguments; true when it succeeded.
    bool xrandr(const std::string& arguments) const;

  private:
    XorgServer() = default;
    bool launch(const std::vector<std::string>& arguments);
    bool endWithin(std::chrono::milliseconds limit);

    pid_t process_ = -1;
    int placeholder_ = -1;  ///< socket at a killed server's address
    std::string display_;
    std::filesystem::path folder_;
};

}  // namespace quillon::testing
