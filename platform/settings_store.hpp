#pragma once

#include <optional>
#include <string>

namespace quillon {

/// The user's stored choices, by key. Main thread. A write that fails is logged and otherwise silent.
class SettingsStore {
  public:
    virtual ~SettingsStore() = default;
    /// Nothing when the key was never written.
    virtual std::optional<std::string> string(const std::string& key) = 0;
    virtual void setString(const std::string& key, const std::string& value) = 0;
};

}  // namespace quillon
