#pragma once

#import <Foundation/Foundation.h>

#include "platform/settings_store.hpp"

namespace quillon {

/// The user defaults of the application, or of another name (tests). A service of the system keeps the file,
/// so what is stored survives the end of this process however it comes.
class UserDefaultsSettings : public SettingsStore {
  public:
    UserDefaultsSettings();
    explicit UserDefaultsSettings(const std::string& suite);

    bool contains(const std::string& key) override;
    std::optional<std::string> string(const std::string& key) override;
    std::optional<int64_t> integer(const std::string& key) override;
    std::optional<bool> boolean(const std::string& key) override;
    void write(const std::vector<SettingsChange>& changes) override;

  private:
    NSString* const suite_ = nil;  ///< nil: the application's own
    NSUserDefaults* const defaults_;
};

}  // namespace quillon
