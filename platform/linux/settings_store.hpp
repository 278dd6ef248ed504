#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/settings_store.hpp"

namespace quillon {

/// Settings in a key file (INI). Every call reads the file, and every change writes it whole: into
/// "settings.ini.new", which is synced to the disk and renamed over the old one. So two running programs see
/// each other's changes, and a crash at any moment leaves the old or the new file. Writers take turns by a
/// lock on the ".new" file, which the kernel releases when its holder dies; what a killed writer left of that
/// file is used by the next.
///
/// Under the lock a file that cannot be settings, or that this user may not read, is kept aside under
/// ".damaged", or ".damaged.2" and so on. One that only cannot be read at the moment is left alone and not
/// written over. What could not be written counts all the same while this object lives, and is written with
/// the next change.
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
    struct Change {
        std::string key;
        std::optional<std::string> value;  ///< none removes the key
    };
    const Change* unwritten(const std::string& key) const;
    /// Writes what is unwritten; why that failed, or nothing.
    std::string writeOut() const;

    const std::filesystem::path file_;
    std::vector<Change> unwritten_;  ///< one for each key
    std::string readComplaint_;      ///< the last one, so that it is made once
    std::string writeComplaint_;
};

}  // namespace quillon
