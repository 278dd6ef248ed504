#pragma once

#include <filesystem>

#include "platform/settings_store.hpp"

namespace quillon {

/// Settings in a key file (INI). Every call reads the file and every change writes it whole, by renaming
/// a new one over it, so two running programs see each other's changes and a crash leaves the old or the
/// new file. A file that cannot be read is kept aside under ".damaged".
class KeyFileSettings : public SettingsStore {
  public:
    explicit KeyFileSettings(std::filesystem::path file = defaultFile());

    std::optional<std::string> string(const std::string& key) override;
    void setString(const std::string& key, const std::string& value) override;

    /// Quillon/settings.ini in the user's configuration folder (XDG_CONFIG_HOME, otherwise ~/.config).
    static std::filesystem::path defaultFile();

  private:
    const std::filesystem::path file_;
};

}  // namespace quillon
