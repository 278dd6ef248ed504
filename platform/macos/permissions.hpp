#pragma once

#include "platform/permissions.hpp"

namespace quillon {

/// Screen Recording and Accessibility. The system remembers the answers for the program's signing identity
/// and path; a grant for Screen Recording counts from the program's next start.
class MacPermissions : public Permissions {
  public:
    bool asksUser() override { return true; }
    bool canCaptureScreen() override;
    bool requestScreenCapture() override;
    bool isTrustedForControl() override;
    void requestControl() override;
};

}  // namespace quillon
