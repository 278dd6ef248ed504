#include "platform/linux/application_shell.hpp"

#include <system_error>
#include <utility>

#include "base/log.hpp"
#include "base/text.hpp"
#include "platform/linux/module.hpp"
#include "platform/linux/shell/module.hpp"
#include "platform/linux/single_instance.hpp"
#include "platform/linux/x11_connection.hpp"

namespace quillon {

namespace {

using ShellMaker = decltype(&quillonMakeApplicationShell);

ShellMaker loadShellMaker() {
    const ModuleSymbol maker = loadFromModule("libquillon-shell.so", "quillonMakeApplicationShell");
    if (maker.address == nullptr) throw ShellFailure("cannot load the tray application: " + maker.failure);
    return reinterpret_cast<ShellMaker>(maker.address);
}

/// The toolkit ends the process when it finds no display.
void requireDisplay() {
    try {
        X11Connection::open();
    } catch (const X11Failure& failure) {
        throw ShellFailure(failure.what());
    }
}

/// Null when the application runs already.
std::unique_ptr<SingleInstance> claimInstance(LinuxRunLoop& loop) {
    try {
        return SingleInstance::claim(loop);
    } catch (const std::system_error& error) {
        throw ShellFailure(formatted("cannot tell whether the application runs already: %s", error.what()));
    }
}

}  // namespace

std::unique_ptr<ApplicationShell> makeLinuxApplicationShell(LinuxRunLoop& loop) {
    requireDisplay();
    std::shared_ptr<SingleInstance> instance = claimInstance(loop);
    if (!instance) return nullptr;

    ShellHost host;
    host.loopDescriptor = loop.descriptor();
    host.runLoopTurn = [&loop] { loop.runReady(); };
    // Lives as long as the shell keeps this function.
    host.watchReopening = [instance](std::function<void()> action) {
        instance->setOnReopened(std::move(action));
    };
    return std::unique_ptr<ApplicationShell>(loadShellMaker()(std::move(host)));
}

}  // namespace quillon
