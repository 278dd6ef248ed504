#pragma once

#include <string>
#include <vector>

#include "platform/permissions.hpp"
#include "platform/service_browser.hpp"

namespace quillon {

// Services that this desktop does not give to the program. Each answers as the seam says a system
// without it answers, so that the session tells the user in its own words.

/// No searching on the local network: each search says so at once.
class NoServiceBrowser : public ServiceBrowser {
  public:
    std::unique_ptr<Search> search(const std::string&, const std::string&, Callbacks callbacks) override;
    std::vector<std::string> interfaceAddresses() override { return {}; }
};

/// X11 lets every client see the screen and make events: there is nothing to ask for.
class GrantedPermissions : public Permissions {
  public:
    bool asksUser() override { return false; }
    bool canCaptureScreen() override { return true; }
    bool requestScreenCapture() override { return true; }
    bool isTrustedForControl() override { return true; }
    void requestControl() override {}
};

}  // namespace quillon
