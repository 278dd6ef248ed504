#pragma once

#include <memory>
#include <string>
#include <vector>

namespace quillon::testing {

/// A bad Wi-Fi: two network namespaces, `near` for the host and `far` for the device, and a link between them
/// whose near end sends no faster than it is told. Nothing leaves them.
class ShapedLink {
  public:
    /// Why there can be none on this machine; empty when there can.
    static std::string missing();

    /// Without a limit. Null when it cannot be made.
    static std::unique_ptr<ShapedLink> make();
    ~ShapedLink();
    ShapedLink(const ShapedLink&) = delete;
    ShapedLink& operator=(const ShapedLink&) = delete;

    const std::string& nearName() const { return near_; }
    const std::string& farName() const { return far_; }
    static constexpr const char* kInterface = "air";
    static constexpr const char* kNearAddress = "10.77.0.1";
    static constexpr const char* kFarAddress = "10.77.0.2";

    /// `command` as it is run at that end.
    std::vector<std::string> atNear(std::vector<std::string> command) const {
        return inside(near_, std::move(command));
    }
    std::vector<std::string> atFar(std::vector<std::string> command) const {
        return inside(far_, std::move(command));
    }

    /// The near end sends so much, behind a queue of 50 ms.
    bool limitTo(int kilobitsPerSecond) const;
    /// Nothing passes any more, until `resume`.
    bool stall() const;
    bool resume() const;
    /// The far end has another address from now on.
    bool moveFarTo(const std::string& address) const;

  private:
    ShapedLink();
    bool build() const;
    static std::vector<std::string> inside(const std::string& name, std::vector<std::string> command);

    const std::string near_;
    const std::string far_;
};

}  // namespace quillon::testing
