#include "platform/linux/settings_store.hpp"

#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include "base/descriptor.hpp"
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
    enum class Outcome {
        sound,       ///< also when there is no file
        damaged,     ///< what is there will never be settings: its place is needed
        unreadable,  ///< for want of memory, say: what is there may well be sound
    };
    KeyFile settings;
    Outcome outcome = Outcome::sound;
    std::string reason;
};

Loaded withoutSettings(Loaded::Outcome outcome, std::string reason) {
    return {KeyFile(g_key_file_new()), outcome, std::move(reason)};
}

/// After a call that set `errno`.
Loaded failedToRead() {
    const int error = errno;
    if (error == ENOENT) return withoutSettings(Loaded::Outcome::sound, "");
    const bool willStay = error == EACCES || error == EISDIR;
    return withoutSettings(willStay ? Loaded::Outcome::damaged : Loaded::Outcome::unreadable,
                           std::strerror(error));
}

Loaded load(const fs::path& file) {
    // Whatever is there, opening it must not wait for anybody.
    const Descriptor source(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat kind {};
    if (!source.isOpen() || fstat(source.get(), &kind) != 0) return failedToRead();
    if (!S_ISREG(kind.st_mode)) return withoutSettings(Loaded::Outcome::damaged, "not a file");

    std::string content;
    std::array<char, 4096> piece{};
    for (;;) {
        const ssize_t count = read(source.get(), piece.data(), piece.size());
        if (count == 0) break;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failedToRead();
        content.append(piece.data(), static_cast<size_t>(count));
    }
    KeyFile settings(g_key_file_new());
    GError* failure = nullptr;
    const auto sound = g_key_file_load_from_data(settings.get(), content.data(), content.size(),
                                                 G_KEY_FILE_KEEP_COMMENTS, &failure);
    if (sound) return {std::move(settings), Loaded::Outcome::sound, ""};
    return withoutSettings(Loaded::Outcome::damaged, onOneLine(Error(failure)->message));
}

/// A new version of the file on its way. Whoever holds one that is open is the only writer.
class Draft {
  public:
    explicit Draft(const fs::path& file) : file_(file), path_(file.string() + ".new") {
        std::error_code ignored;
        fs::create_directories(file_.parent_path(), ignored);
        // While this program waited for the lock the one before may have renamed its draft away.
        do {
            descriptor_ = openAndLock();
        } while (isOpen() && !isThePathsFile());
    }
    ~Draft() {
        if (isOpen() && isThePathsFile()) unlink(path_.c_str());
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    bool isOpen() const { return descriptor_.isOpen(); }

    /// Makes `content` the file. When something fails the old file stays, and `errno` tells why.
    bool publish(std::string_view content) {
        errno = openError_;
        return isOpen() && fill(content) && fsync(descriptor_.get()) == 0 && isThePathsFile() &&
               rename(path_.c_str(), file_.c_str()) == 0;
    }

  private:
    Descriptor openAndLock() {
        Descriptor draft = opened();
        // What root left in the user's folder can be removed, if not opened.
        if (!draft.isOpen() && errno == EACCES && unlink(path_.c_str()) == 0) draft = opened();
        while (draft.isOpen() && flock(draft.get(), LOCK_EX) != 0) {
            if (errno != EINTR) draft.close();
        }
        openError_ = errno;
        return draft;
    }
    Descriptor opened() const {
        Descriptor draft(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        struct stat folder {};
        if (draft.isOpen() && stat(file_.parent_path().c_str(), &folder) == 0) {
            // Root, who alone can give it away, leaves the settings to the user whose folder it is.
            [[maybe_unused]] const int kept = fchown(draft.get(), folder.st_uid, static_cast<gid_t>(-1));
        }
        return draft;
    }
    bool fill(std::string_view content) const {
        if (ftruncate(descriptor_.get(), 0) != 0) return false;
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor_.get(), content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return false;
            content.remove_prefix(static_cast<size_t>(written));
        }
        return true;
    }
    /// False, with `errno`, when the draft's place is empty or another's.
    bool isThePathsFile() const {
        struct stat mine {};
        struct stat there {};
        if (fstat(descriptor_.get(), &mine) != 0 || stat(path_.c_str(), &there) != 0) return false;
        errno = ESTALE;
        return mine.st_ino == there.st_ino;
    }

    const fs::path file_;
    const fs::path path_;
    Descriptor descriptor_;
    int openError_ = 0;
};

/// The name under which a damaged file is kept: nothing that is kept already gives way.
fs::path placeAside(const fs::path& file) {
    std::error_code ignored;
    for (int number = 1;; ++number) {
        fs::path place = file.string() + ".damaged" + (number > 1 ? "." + std::to_string(number) : "");
        if (!fs::exists(fs::symlink_status(place, ignored))) return place;
    }
}

/// The settings, for whoever holds the draft: damage is out of the way afterwards, or is told as it is.
Loaded loadOrSetAside(const fs::path& file, const Draft& draft) {
    Loaded loaded = load(file);
    if (loaded.outcome != Loaded::Outcome::damaged || !draft.isOpen()) return loaded;
    const fs::path place = placeAside(file);
    std::error_code failed;
    fs::rename(file, place, failed);
    if (failed) return loaded;
    Log::write(formatted("settings: cannot read %s (%s), kept aside as %s", file.c_str(),
                         loaded.reason.c_str(), place.filename().c_str()));
    return withoutSettings(Loaded::Outcome::sound, "");
}

/// A complaint that stays the same is made once; an empty one is none.
void tellOnce(std::string& told, const std::string& complaint) {
    if (!complaint.empty() && told != complaint) Log::write(complaint);
    told = complaint;
}

/// The settings, for readers, who need no lock: the file is replaced as a whole.
KeyFile loadForReading(const fs::path& file, std::string& told) {
    Loaded loaded = load(file);
    if (loaded.outcome == Loaded::Outcome::damaged) {
        // Another program may have put things right meanwhile: looked at again when nobody else writes.
        const Draft turn(file);
        loaded = loadOrSetAside(file, turn);
    }
    const bool sound = loaded.outcome == Loaded::Outcome::sound;
    tellOnce(told,
             sound ? "" : formatted("settings: cannot read %s (%s)", file.c_str(), loaded.reason.c_str()));
    return std::move(loaded.settings);
}

}  // namespace

KeyFileSettings::KeyFileSettings(fs::path file) : file_(std::move(file)) {}

fs::path KeyFileSettings::defaultFile() {
    return fs::path(g_get_user_config_dir()) / "Quillon" / "settings.ini";
}

bool KeyFileSettings::contains(const std::string& key) {
    if (const Change* change = unwritten(key)) return change->value.has_value();
    const KeyFile settings = loadForReading(file_, readComplaint_);
    return g_key_file_has_key(settings.get(), kGroup, escaped(key).c_str(), nullptr) != 0;
}

std::optional<std::string> KeyFileSettings::string(const std::string& key) {
    if (const Change* change = unwritten(key)) return change->value;
    const KeyFile settings = loadForReading(file_, readComplaint_);
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
    for (const auto& [key, value] : changes) {
        std::erase_if(unwritten_, [&](const Change& each) { return each.key == key; });
        Change& change = unwritten_.emplace_back(Change{key, std::nullopt});
        if (value) change.value = repairedUtf8(viewOf(textOf(*value)));
    }
    const std::string failure = writeOut();
    if (failure.empty()) unwritten_.clear();
    tellOnce(
        writeComplaint_,
        failure.empty() ? "" : formatted("settings: cannot write %s: %s", file_.c_str(), failure.c_str()));
}

std::string KeyFileSettings::writeOut() const {
    Draft draft(file_);
    const auto [settings, outcome, reason] = loadOrSetAside(file_, draft);
    if (outcome != Loaded::Outcome::sound) return "what is there cannot be read (" + reason + ")";
    for (const Change& change : unwritten_) {
        const std::string key = escaped(change.key);
        if (change.value) {
            g_key_file_set_string(settings.get(), kGroup, key.c_str(), change.value->c_str());
        } else {
            g_key_file_remove_key(settings.get(), kGroup, key.c_str(), nullptr);
        }
    }
    gsize size = 0;
    const Text content(g_key_file_to_data(settings.get(), &size, nullptr));
    return draft.publish({content.get(), size}) ? "" : std::strerror(errno);
}

const KeyFileSettings::Change* KeyFileSettings::unwritten(const std::string& key) const {
    const auto change = std::ranges::find(unwritten_, key, &Change::key);
    return change == unwritten_.end() ? nullptr : &*change;
}

}  // namespace quillon
