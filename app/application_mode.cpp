#include "app/application_mode.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace quillon {

int runApplication(Platform& platform, AppDelegate::Details details) {
    std::unique_ptr<ApplicationShell> shell;
    try {
        shell = platform.makeApplicationShell();
    } catch (const ShellFailure& failure) {
        std::fprintf(stderr, "QuillonHost: the tray application cannot start: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    if (!shell) {
        std::puts("Quillon runs already");
        return EXIT_SUCCESS;
    }
    AppDelegate delegate(platform, *shell, std::move(details));
    shell->run(delegate.callbacks());
    return EXIT_SUCCESS;
}

}  // namespace quillon
