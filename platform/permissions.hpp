#pragma once

namespace quillon {

/// What the user must allow. Systems without such a question answer yes. Main thread.
class Permissions {
  public:
    virtual ~Permissions() = default;

    /// Does this system ask users such questions at all? If not, everything is allowed.
    virtual bool asksUser() = 0;

    virtual bool canCaptureScreen() = 0;
    /// Asks the user; true when allowed by now.
    virtual bool requestScreenCapture() = 0;

    /// May the program post events and move other programs' windows?
    virtual bool isTrustedForControl() = 0;
    /// Asks the user, with the system's own prompt.
    virtual void requestControl() = 0;
};

}  // namespace quillon
