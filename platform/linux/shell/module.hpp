#pragma once

#include <functional>

#include "platform/application_shell.hpp"

namespace quillon {

/// What the shell needs of the program that loads it; the module shares no other code with it.
struct ShellHost {
    /// Readable whenever the program's run loop has something to do, and what does it. The toolkit's loop
    /// watches the one and calls the other.
    int loopDescriptor = -1;
    std::function<void()> runLoopTurn;

    /// Sets what is called each time that the application was started once more; from the program's loop.
    std::function<void(std::function<void()>)> watchReopening;
};

}  // namespace quillon

/// What libquillon-shell.so gives: the shell, owned by the caller. The X server that DISPLAY names answers.
extern "C" quillon::ApplicationShell* quillonMakeApplicationShell(quillon::ShellHost host);
