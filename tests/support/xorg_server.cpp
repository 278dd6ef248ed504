#include "tests/support/xorg_server.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

namespace quillon::testing {

namespace {

using namespace std::chrono_literals;

// The binary itself: the wrapper on the path serves consoles only.
constexpr const char* kServer = "/usr/lib/xorg/Xorg";
constexpr const char* kDriver = "/usr/lib/xorg/modules/drivers/dummy_drv.so";
constexpr auto kStartLimit = 15s;
constexpr auto kEndLimit = 5s;

/// Keeps display numbers from changing hands: servers of all tests look for one under a shared lock, and a
/// killed one's is kept from them under an exclusive one.
class NumbersLock {
  public:
    /// LOCK_SH or LOCK_EX.
    explicit NumbersLock(int mode)
        : file_(open("/tmp/.quillon-xorg-numbers", O_CREAT | O_RDWR | O_CLOEXEC, 0666)) {
        flock(file_, mode);
    }
    ~NumbersLock() { close(file_); }
    NumbersLock(const NumbersLock&) = delete;
    NumbersLock& operator=(const NumbersLock&) = delete;

  private:
    const int file_;
};

/// What to put into the configuration that all servers without a card share.
constexpr std::pair<std::string_view, std::string_view> kFillings[] = {
    {"@MODE@", "1920x1080"},
    {"@TIMING@", "148.50 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync"},
    {"@VIRTUAL@", "8192 8191"}};

std::string configurationText() {
    std::ifstream file(QUILLON_XORG_CONFIGURATION);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    for (const auto& [place, value] : kFillings) {
        for (size_t at = text.find(place); at != text.npos; at = text.find(place, at + value.size())) {
            text.replace(at, place.size(), value);
        }
    }
    return text;
}

/// One line from `descriptor`, or what came of it until the deadline.
std::string readLine(int descriptor, std::chrono::steady_clock::time_point deadline) {
    std::string line;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd watched{descriptor, POLLIN, 0};
        if (left <= 0ms || poll(&watched, 1, static_cast<int>(left.count())) <= 0) return line;
        char next = 0;
        if (read(descriptor, &next, 1) != 1 || next == '\n') return line;
        line += next;
    }
}

}  // namespace

std::string XorgServer::missing() {
    if (!std::filesystem::exists(kServer)) return "Xorg is not installed (package xserver-xorg-core)";
    if (!std::filesystem::exists(kDriver)) return "its dummy driver is missing (xserver-xorg-video-dummy)";
    return "";
}

std::unique_ptr<XorgServer> XorgServer::start(const std::vector<std::string>& arguments) {
    std::unique_ptr<XorgServer> server(new XorgServer);
    if (!server->launch(arguments)) return nullptr;
    setenv("DISPLAY", server->display_.c_str(), 1);
    return server;
}

bool XorgServer::launch(const std::vector<std::string>& arguments) {
    std::string pattern = std::filesystem::temp_directory_path() / "quillon-xorg-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) return false;
    folder_ = pattern;
    const std::string configuration = folder_ / "xorg.conf";
    std::ofstream(configuration) << configurationText();

    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) return false;
    constexpr int kDisplayDescriptor = 3;
    std::vector<std::string> words{kServer,
                                   "-config",
                                   configuration,
                                   "-noreset",
                                   "-nolisten",
                                   "tcp",
                                   "-novtswitch",
                                   "-sharevts",
                                   "-ac",
                                   "-logfile",
                                   folder_ / "xorg.log",
                                   "-displayfd",
                                   std::to_string(kDisplayDescriptor)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], kDisplayDescriptor);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (folder_ / "errors").c_str(),
                                     O_WRONLY | O_CREAT, 0600);
    const NumbersLock choosing(LOCK_SH);
    const int failure = posix_spawn(&process_, kServer, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe[1]);
    if (failure != 0) process_ = -1;
    const std::string number =
        failure == 0 ? readLine(pipe[0], std::chrono::steady_clock::now() + kStartLimit) : "";
    close(pipe[0]);
    display_ = ":" + number;
    return !number.empty();
}

bool XorgServer::endWithin(std::chrono::milliseconds limit) {
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, process_, 0));
    pollfd watched{handle, POLLIN, 0};
    const bool ended = handle >= 0 && poll(&watched, 1, static_cast<int>(limit.count())) == 1;
    if (handle >= 0) close(handle);
    return ended;
}

long XorgServer::residentKiB() const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("VmRSS:")) return std::stol(line.substr(line.find(':') + 1));
    }
    return 0;
}

void XorgServer::kill() {
    if (process_ < 0) return;
    const NumbersLock keeping(LOCK_EX);
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
    // The number stays taken as long as this object lives: who looks for this server again must not find one
    // of another test. Nobody listens at the address that servers ask for first.
    const std::string path = "/tmp/.X11-unix/X" + display_.substr(1);
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path + 1, sizeof address.sun_path - 1);  // no file: an abstract name
    placeholder_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bind(placeholder_, reinterpret_cast<const sockaddr*>(&address),
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size()));
}

XorgServer::~XorgServer() {
    if (process_ >= 0) {
        ::kill(process_, SIGTERM);
        if (endWithin(kEndLimit)) {
            waitpid(process_, nullptr, 0);
        } else {
            kill();
        }
    }
    std::error_code ignored;
    if (placeholder_ >= 0) close(placeholder_);
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

bool XorgServer::xrandr(const std::string& arguments) const {
    return std::system(("xrandr -d " + display_ + " " + arguments).c_str()) == 0;
}

}  // namespace quillon::testing
