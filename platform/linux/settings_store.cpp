#include "platform/linux/settings_store.hpp"

#include <glib.h>

#include <memory>
#include <system_error>
#include <utility>

#include "base/log.hpp"
#include "base/text.hpp"

namespace quillon {

namespace {

namespace fs = std::filesystem;

constexpr const char* kGroup = "Settings";

struct Free {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
};
using KeyFile = std::unique_ptr<GKeyFile, Free>;
using Error = std::unique_ptr<GError, Free>;
using Text = std::unique_ptr<gchar, Free>;

/// A key may hold any text, a device's identifier for example; key files allow less.
std::string escaped(const std::string& key) {
    return Text(g_uri_escape_string(key.c_str(), nullptr, false)).get();
}

KeyFile load(const fs::path& file) {
    KeyFile settings(g_key_file_new());
    GError* failure = nullptr;
    if (g_key_file_load_from_file(settings.get(), file.c_str(), G_KEY_FILE_KEEP_COMMENTS, &failure)) {
        return settings;
    }
    const Error error(failure);
    if (!g_error_matches(error.get(), G_FILE_ERROR, G_FILE_ERROR_NOENT)) {
        const fs::path aside = file.string() + ".damaged";
        std::error_code failed;
        fs::rename(file, aside, failed);
        Log::write(formatted("settings: cannot read %s (%s)%s", file.c_str(), error->message,
                             failed ? "" : ", kept aside as .damaged"));
    }
    return KeyFile(g_key_file_new());
}

}  // namespace

KeyFileSettings::KeyFileSettings(fs::path file) : file_(std::move(file)) {}

fs::path KeyFileSettings::defaultFile() {
    return fs::path(g_get_user_config_dir()) / "Quillon" / "settings.ini";
}

std::optional<std::string> KeyFileSettings::string(const std::string& key) {
    const KeyFile settings = load(file_);
    const Text value(g_key_file_get_string(settings.get(), kGroup, escaped(key).c_str(), nullptr));
    return value ? std::optional<std::string>(value.get()) : std::nullopt;
}

void KeyFileSettings::setString(const std::string& key, const std::string& value) {
    const KeyFile settings = load(file_);
    g_key_file_set_string(settings.get(), kGroup, escaped(key).c_str(), repairedUtf8(viewOf(value)).c_str());
    std::error_code ignored;
    fs::create_directories(file_.parent_path(), ignored);
    GError* failure = nullptr;
    if (!g_key_file_save_to_file(settings.get(), file_.c_str(), &failure)) {
        Log::write(formatted("settings: %s", Error(failure)->message));
    }
}

}  // namespace quillon
