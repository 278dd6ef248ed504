#include "device/screen.hpp"

namespace quillon::device {

PictureLayout layoutOf(const ScreenState& state, std::optional<Size> mirrored) {
    const auto display = state.settings.display ? state.settings.display : mirrored;
    if (!display) return {};
    return {*display, state.frame ? state.frame->picture->size() : state.panel, state.settings.scaling};
}

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
