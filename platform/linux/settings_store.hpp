#pragma once

#include <filesystem>
#include <string>

#include "platform/settings_store.hpp"

namespace quillon {

/// Settings in a key file (INI). Every call reads the file, and every change writes it whole: into
/// "settings.ini.new", which is synced to the disk and renamed over the old one. So two running programs see
/// each other's changes, and a crash at any moment leaves the old or the new file. Writers take turns by a
/// lock on the ".new" file, which the kernel releases when its holder dies; what a killed writer left of that
/// file is used by the next. A file that cannot be read is kept aside under ".damaged".
class KeyFileSettings : public SettingsStore {
  public:
    explicit KeyFileSettings(std::filesystem::path file = defaultFile());

    bool contains(const std::string& key) override;
    std::optional<std::string> string(const std::string& key) override;
    std::optional<int64_t> integer(const std::string& key) override;
    std::optional<bool> boolean(const std::string& key) override;
    void write(const std::vector<SettingsChange>& changes) override;

    /// Quillon/settings.ini in the user's configuration folder (XDG_CONFIG_HOME, otherwise ~/.config).
    static std::filesystem::path defaultFile();

  private:
    const std::filesystem::path file_;
    std::string told_;  ///< the last complaint about the file
};

}  // namespace quillon
