#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "base/descriptor.hpp"
#include "platform/linux/run_loop.hpp"

namespace quillon {

/// The user's only running application. Two files in a folder of the user's own say who that is: a lock,
/// which the kernel releases however the process ends, and a socket, at which the first is asked to come
/// forward. Whatever an ended process left behind is in nobody's way. Main thread.
class SingleInstance {
  public:
    /// Becomes the first in `folder`, or asks the one that is to come forward and returns null. The first
    /// hears it when its loop runs; one that does not within two seconds, because it is starting, hangs or
    /// takes long to end, is left alone: null as well. Throws std::system_error when the folder cannot be
    /// used.
    static std::unique_ptr<SingleInstance> claim(LinuxRunLoop& loop,
                                                 const std::filesystem::path& folder = defaultFolder());

    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    /// Called from the loop each time the application is started once more. A start that came before
    /// this was set is reported as soon as it is set.
    void setOnReopened(std::function<void()> action);

    /// "quillon" in XDG_RUNTIME_DIR, otherwise in the user's folder for caches.
    static std::filesystem::path defaultFolder();

  private:
    SingleInstance(LinuxRunLoop& loop, Descriptor lock, Descriptor listener);
    void acceptAll();

    const Descriptor lock_;
    const Descriptor listener_;
    std::unique_ptr<LinuxRunLoop::Watch> watch_;  ///< before the descriptor it watches goes
    std::function<void()> onReopened_;
    bool wasReopened_ = false;
};

}  // namespace quillon
