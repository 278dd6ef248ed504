#include "platform/linux/display_guardian.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "platform/linux/program_files.hpp"

namespace quillon {

namespace {

pid_t spawned(const std::string& program, const std::string& argument) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    }
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::array<std::string, 2> words{program, argument};
    const std::array<char*, 3> arguments{words[0].data(), words[1].data(), nullptr};
    pid_t process = -1;
    if (posix_spawn(&process, program.c_str(), &actions, &attributes, arguments.data(), environ) != 0) {
        process = -1;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return process;
}

}  // namespace

GuardianStart::GuardianStart(xcb_window_t window)
    : launcher_(spawned(supportFile("quillon-display-guardian"), std::to_string(window))) {}

GuardianStart::~GuardianStart() {
    if (launcher_ < 0) return;
    // It leaves at once and lets a child of its own do the work, so that no ended process ever waits for us.
    while (waitpid(launcher_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace quillon
