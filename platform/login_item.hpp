#pragma once

#include <stdexcept>

namespace quillon {

/// Why the system does not change what starts at login.
class LoginItemError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The application among the programs that start when the user logs in. Main thread; each call takes
/// milliseconds.
class LoginItem {
  public:
    enum class Status {
        notRegistered,
        enabled,
        requiresApproval,  ///< registered, but the user has switched it off in the system's settings
        notFound,          ///< nothing here that could be started: no installed application
    };

    virtual ~LoginItem() = default;

    /// What the system says now; the user may change it behind the program's back.
    virtual Status status() = 0;
    /// Throws LoginItemError.
    virtual void enlist() = 0;
    /// Throws LoginItemError.
    virtual void withdraw() = 0;
};

}  // namespace quillon
