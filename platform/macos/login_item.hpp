#pragma once

#include "platform/login_item.hpp"

namespace quillon {

/// The application as a service of the system's service management. It knows signed bundles only.
class MacLoginItem : public LoginItem {
  public:
    Status status() override;
    void enlist() override;
    void withdraw() override;
};

}  // namespace quillon
