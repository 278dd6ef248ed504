#pragma once

#include <filesystem>

namespace quillon {

/// Hands things over to other programs of the desktop. Main thread; returns before the other program has
/// started. False when there is nobody to hand it to.
class Opener {
  public:
    enum class Pane { screenRecording, accessibility };

    virtual ~Opener() = default;

    /// Opens a file with the user's program for its kind.
    virtual bool openFile(const std::filesystem::path& file) = 0;
    /// Opens the system's settings where this permission is granted.
    virtual bool openSettings(Pane pane) = 0;
};

}  // namespace quillon
