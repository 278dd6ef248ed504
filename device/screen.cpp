#include "device/screen.hpp"

namespace quillon::device {

void Screen::change(const std::function<void(ScreenState&)>& change) {
    {
        const MutexLock lock(lock_);
        change(state_);
    }
    observer_();
}

ScreenState Screen::state() const {
    const MutexLock lock(lock_);
    return state_;
}

}  // namespace quillon::device
