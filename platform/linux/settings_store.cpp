#include "platform/linux/settings_store.hpp"

#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
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

struct Loaded {
    KeyFile settings;
    Error damage;  ///< null when the file is sound, or not there
};

Loaded load(const fs::path& file) {
    Loaded loaded{KeyFile(g_key_file_new()), nullptr};
    GError* failure = nullptr;
    const bool sound =
        g_key_file_load_from_file(loaded.settings.get(), file.c_str(), G_KEY_FILE_KEEP_COMMENTS, &failure);
    if (sound) return loaded;
    loaded.settings.reset(g_key_file_new());
    loaded.damage.reset(failure);
    if (g_error_matches(failure, G_FILE_ERROR, G_FILE_ERROR_NOENT)) loaded.damage.reset();
    return loaded;
}

/// A new version of the file on its way. Whoever holds one is the only writer.
class Draft {
  public:
    explicit Draft(const fs::path& file) : file_(file), path_(file.string() + ".new") {
        std::error_code ignored;
        fs::create_directories(file_.parent_path(), ignored);
        do {
            close();
            descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            openError_ = errno;
        } while (descriptor_ >= 0 && flock(descriptor_, LOCK_EX) == 0 && !isThePathsFile());
    }
    ~Draft() {
        if (descriptor_ >= 0 && !published_) unlink(path_.c_str());
        close();
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    /// Makes `content` the file. When something fails the old file stays, and `errno` tells why.
    bool publish(std::string_view content) {
        errno = openError_;
        published_ = descriptor_ >= 0 && fill(content) && fsync(descriptor_) == 0 &&
                     rename(path_.c_str(), file_.c_str()) == 0;
        return published_;
    }

  private:
    bool fill(std::string_view content) const {
        if (ftruncate(descriptor_, 0) != 0) return false;
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor_, content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return false;
            content.remove_prefix(static_cast<size_t>(written));
        }
        return true;
    }
    /// While this program waited for the lock the one before may have renamed its draft away.
    bool isThePathsFile() const {
        struct stat mine {};
        struct stat there {};
        return fstat(descriptor_, &mine) == 0 && stat(path_.c_str(), &there) == 0 &&
               mine.st_ino == there.st_ino;
    }
    void close() {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = -1;
    }

    const fs::path file_;
    const fs::path path_;
    int descriptor_ = -1;
    int openError_ = 0;
    bool published_ = false;
};

/// The settings, for whoever holds the draft: a file that cannot be read is out of the way afterwards.
KeyFile loadOrSetAside(const fs::path& file, const Draft&, std::string& told) {
    auto [settings, damage] = load(file);
    if (!damage) return std::move(settings);
    std::error_code failed;
    fs::rename(file, file.string() + ".damaged", failed);
    const std::string line = formatted("settings: cannot read %s (%s)%s", file.c_str(), damage->message,
                                       failed ? "" : ", kept aside as .damaged");
    if (told != line || !failed) Log::write(line);  // what stays as it is is told once
    told = line;
    return std::move(settings);
}

/// The settings, for readers, who need no lock: the file is replaced as a whole.
KeyFile loadForReading(const fs::path& file, std::string& told) {
    auto [settings, damage] = load(file);
    if (!damage) return std::move(settings);
    // Another program may have put things right meanwhile: looked at again when nobody else writes.
    const Draft turn(file);
    return loadOrSetAside(file, turn, told);
}

}  // namespace

KeyFileSettings::KeyFileSettings(fs::path file) : file_(std::move(file)) {}

fs::path KeyFileSettings::defaultFile() {
    return fs::path(g_get_user_config_dir()) / "Quillon" / "settings.ini";
}

bool KeyFileSettings::contains(const std::string& key) {
    const KeyFile settings = loadForReading(file_, told_);
    return g_key_file_has_key(settings.get(), kGroup, escaped(key).c_str(), nullptr) != 0;
}

std::optional<std::string> KeyFileSettings::string(const std::string& key) {
    const KeyFile settings = loadForReading(file_, told_);
    const Text value(g_key_file_get_string(settings.get(), kGroup, escaped(key).c_str(), nullptr));
    return value ? std::optional<std::string>(value.get()) : std::nullopt;
}

std::optional<int64_t> KeyFileSettings::integer(const std::string& key) {
    return parseInteger(string(key).value_or(""));
}

std::optional<bool> KeyFileSettings::boolean(const std::string& key) {
    return parseBoolean(string(key).value_or(""));
}

void KeyFileSettings::write(const std::vector<SettingsChange>& changes) {
    Draft draft(file_);
    const KeyFile settings = loadOrSetAside(file_, draft, told_);
    for (const SettingsChange& change : changes) {
        const std::string key = escaped(change.key);
        if (change.value) {
            g_key_file_set_string(settings.get(), kGroup, key.c_str(),
                                  repairedUtf8(viewOf(textOf(*change.value))).c_str());
        } else {
            g_key_file_remove_key(settings.get(), kGroup, key.c_str(), nullptr);
        }
    }
    gsize size = 0;
    const Text content(g_key_file_to_data(settings.get(), &size, nullptr));
    if (!draft.publish({content.get(), size})) {
        Log::write(formatted("settings: cannot write %s: %s", file_.c_str(), std::strerror(errno)));
    }
}

}  // namespace quillon
