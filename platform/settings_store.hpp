#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quillon {

using SettingsValue = std::variant<std::string, int64_t, bool>;

/// One key's new value; none removes the key.
struct SettingsChange {
    std::string key;
    std::optional<SettingsValue> value;
};

/// The user's stored choices, by key. Main thread.
///
/// Nothing here fails: a store that is damaged is kept aside for the user, logged, and counts as empty, as
/// does one that cannot be read. A write that fails is logged once, and its changes count from then on as
/// long as this object lives. Other programs and the user may change the store at any time, so each read
/// looks anew.
class SettingsStore {
  public:
    virtual ~SettingsStore() = default;

    /// Does the key hold anything, of whatever type?
    virtual bool contains(const std::string& key) = 0;

    // Nothing when the key holds nothing, or what cannot be read as the type asked for: a text that is no
    // decimal number, a truth value that is not "true", "false", "yes", "no" (in any case), 0 or 1. Numbers
    // and truth values read as text are written in decimal, and "true" or "false".
    virtual std::optional<std::string> string(const std::string& key) = 0;
    virtual std::optional<int64_t> integer(const std::string& key) = 0;
    virtual std::optional<bool> boolean(const std::string& key) = 0;

    /// Makes all changes at once: whoever reads, now or after the program was killed at any moment, sees
    /// either all of them or none. When it returns they are stored, unless the store cannot be written.
    virtual void write(const std::vector<SettingsChange>& changes) = 0;

    void setString(const std::string& key, const std::string& value) { write({{key, value}}); }
    void setInteger(const std::string& key, int64_t value) { write({{key, value}}); }
    void setBoolean(const std::string& key, bool value) { write({{key, value}}); }
    void remove(const std::string& key) { write({{key, std::nullopt}}); }
};

/// The readings above of a value that is text in the store.
std::optional<bool> parseBoolean(std::string_view text);
std::string textOf(const SettingsValue& value);

}  // namespace quillon
