#pragma once

#include <cstdint>
#include <limits>

namespace quillon {

/// When a key frame is due: after fps × seconds frames or after so many seconds of presentation time,
/// whichever comes first. An interval of 0 seconds asks for no cadence: only the first is one.
class KeyframeCadence {
  public:
    KeyframeCadence(int fps, int seconds)
        : maxFrames_(static_cast<int64_t>(fps) * seconds), maxMicroseconds_(int64_t{1'000'000} * seconds) {}

    bool isDue(int64_t time) const {
        if (mustBegin_) return true;
        if (maxFrames_ > 0 && frames_ >= maxFrames_) return true;
        return maxMicroseconds_ > 0 && time - lastKey_ >= maxMicroseconds_;
    }

    /// The time at which one is due at the latest.
    int64_t next() const {
        return maxMicroseconds_ > 0 ? lastKey_ + maxMicroseconds_ : std::numeric_limits<int64_t>::max();
    }

    void encoded(bool key, int64_t time) {
        if (key) {
            mustBegin_ = false;
            frames_ = 0;
            lastKey_ = time;
        }
        ++frames_;
    }

    /// The next frame is a key frame: what came before cannot be built upon.
    void restart() { mustBegin_ = true; }

  private:
    const int64_t maxFrames_;
    const int64_t maxMicroseconds_;
    bool mustBegin_ = true;
    int64_t frames_ = 0;  ///< since and including the last key frame
    int64_t lastKey_ = 0;
};

}  // namespace quillon
