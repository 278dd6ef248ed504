#pragma once

#include "platform/pointer.hpp"

namespace quillon {

/// CoreGraphics' events. Posting them needs the permission for Accessibility; without it they vanish.
class MacPointer : public Pointer {
  public:
    std::optional<Point> location() override;
    /// Never: the system tells of motion only those that may watch all input.
    std::unique_ptr<Observation> observeMotion(std::function<void()>) override { return nullptr; }
    void post(Event event, Point place) override;
    void postScroll(double vertical, double horizontal) override;
};

}  // namespace quillon
