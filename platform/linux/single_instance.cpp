#include "platform/linux/single_instance.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

namespace quillon {

namespace {

namespace fs = std::filesystem;

/// How long a second start waits for the first, and how often it asks meanwhile.
constexpr auto kPatience = std::chrono::seconds(2);
constexpr auto kPause = std::chrono::milliseconds(20);
using Clock = std::chrono::steady_clock;

sockaddr_un addressOf(const fs::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket.native().size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        throw systemError(socket);
    }
    std::memcpy(address.sun_path, socket.c_str(), socket.native().size());
    return address;
}

Descriptor newSocket() {
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// True when somebody listens there and has heard. One that is ending does not answer, and neither does one
/// that hangs: its end is awaited until `deadline`.
bool askForward(const fs::path& path, Clock::time_point deadline) {
    const sockaddr_un address = addressOf(path);
    const Descriptor socket = newSocket();
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd answer{socket.get(), POLLIN, 0};
    poll(&answer, 1, std::max(0, static_cast<int>(left.count())));
    char heard = 0;
    return recv(socket.get(), &heard, sizeof heard, 0) == sizeof heard;
}

/// Only the holder of the lock comes here: a socket in the way is an ended process's.
Descriptor listenAt(const fs::path& path) {
    const sockaddr_un address = addressOf(path);
    Descriptor socket = newSocket();
    unlink(path.c_str());
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0) {
        throw systemError(path);
    }
    return socket;
}

}  // namespace

fs::path SingleInstance::defaultFolder() {
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return fs::path(value != nullptr ? value : "");
    };
    if (const fs::path runtime = variable("XDG_RUNTIME_DIR"); runtime.is_absolute())
        return runtime / "quillon";
    if (const fs::path cache = variable("XDG_CACHE_HOME"); cache.is_absolute()) return cache / "quillon";
    return variable("HOME") / ".cache" / "quillon";
}

std::unique_ptr<SingleInstance> SingleInstance::claim(LinuxRunLoop& loop, const fs::path& folder) {
    std::error_code ignored;
    fs::create_directories(folder.parent_path(), ignored);
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) throw systemError(folder);

    const fs::path lockFile = folder / "lock";
    const fs::path socket = folder / "socket";
    Descriptor lock(open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock.get() < 0) throw systemError(lockFile);

    // Whoever holds the lock and does not answer is starting, or ending: the next look tells.
    const auto deadline = Clock::now() + kPatience;
    while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) throw systemError(lockFile);
        if (askForward(socket, deadline) || Clock::now() >= deadline) return nullptr;
        std::this_thread::sleep_for(kPause);
    }
    return std::unique_ptr<SingleInstance>(new SingleInstance(loop, std::move(lock), listenAt(socket)));
}

SingleInstance::SingleInstance(LinuxRunLoop& loop, Descriptor lock, Descriptor listener)
    : lock_(std::move(lock)), listener_(std::move(listener)) {
    watch_ = loop.watchReadable(listener_.get(), [this] { acceptAll(); });
}

void SingleInstance::setOnReopened(std::function<void()> action) {
    onReopened_ = std::move(action);
    if (onReopened_ && std::exchange(wasReopened_, false)) onReopened_();
}

void SingleInstance::acceptAll() {
    // The connection is the message; any byte answers it.
    for (;;) {
        const Descriptor visitor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!visitor.isOpen()) break;
        send(visitor.get(), "+", 1, MSG_NOSIGNAL);
        wasReopened_ = true;
    }
    if (onReopened_ && std::exchange(wasReopened_, false)) onReopened_();
}

}  // namespace quillon
