#include "tests/support/child_process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

extern char** environ;

namespace quillon::testing {

namespace {

std::vector<std::string> changedEnvironment(const ChildProcess::Environment& changes) {
    std::vector<std::string> variables;
    for (char** each = environ; *each != nullptr; ++each) {
        const std::string variable = *each;
        if (!changes.contains(variable.substr(0, variable.find('=')))) variables.push_back(variable);
    }
    for (const auto& [name, value] : changes) {
        if (value) variables.push_back(name + "=" + *value);
    }
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

int countOf(const std::string& text, const std::string& output) {
    int count = 0;
    for (size_t at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) ++count;
    return count;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, const Environment& changes) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    auto variables = changedEnvironment(changes);
    const int error = posix_spawnp(&process_, command.front().c_str(), &actions, nullptr,
                                   pointersTo(command).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        throw std::runtime_error("cannot run " + command.front());
    }
    collector_ = std::thread([this, descriptor = ends[0]] { collect(descriptor); });
}

ChildProcess::~ChildProcess() {
    if (isRunning()) {
        signal(SIGKILL);
        waitForEnd();
    }
    collector_.join();
}

void ChildProcess::collect(int descriptor) {
    char buffer[4096];
    for (;;) {
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        const std::lock_guard held(lock_);
        if (count <= 0) {
            closed_ = true;
        } else {
            output_.append(buffer, static_cast<size_t>(count));
        }
        changed_.notify_all();
        if (closed_) break;
    }
    close(descriptor);
}

bool ChildProcess::printed(const std::string& text, std::chrono::milliseconds limit) {
    return printedTimes(text, 1, limit);
}

bool ChildProcess::printedTimes(const std::string& text, int count, std::chrono::milliseconds limit) {
    std::unique_lock held(lock_);
    const auto isThere = [&] { return countOf(text, output_) >= count; };
    changed_.wait_for(held, limit, [&] { return closed_ || isThere(); });
    return isThere();
}

void ChildProcess::signal(int number) const {
    kill(process_, number);
}

std::optional<int> ChildProcess::waitForEnd(std::chrono::milliseconds limit) {
    if (status_) return status_;
    const int watch = static_cast<int>(syscall(SYS_pidfd_open, process_, 0));
    pollfd ended{watch, POLLIN, 0};
    const bool hasEnded = poll(&ended, 1, static_cast<int>(limit.count())) == 1;
    close(watch);
    if (!hasEnded) return std::nullopt;
    int raw = 0;
    waitpid(process_, &raw, 0);
    status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    std::unique_lock held(lock_);
    changed_.wait_for(held, std::chrono::seconds(5), [this] { return closed_; });
    return status_;
}

std::string ChildProcess::output() const {
    const std::lock_guard held(lock_);
    return output_;
}

}  // namespace quillon::testing
