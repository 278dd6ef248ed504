#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <memory>

#include "platform/panel.hpp"

namespace quillon {

/// A popover at the status item. A click outside and Escape close it.
class MacPanel : public Panel {
  public:
    /// `anchor` gives the status item's view of the moment, nil when there is none.
    MacPanel(PanelCallbacks callbacks, std::function<NSView*()> anchor);
    ~MacPanel() override;
    MacPanel(const MacPanel&) = delete;
    MacPanel& operator=(const MacPanel&) = delete;

    void show(const PanelContent& content) override;
    void update(const PanelContent& content) override;
    void close() override;
    bool isShown() const override;

  private:
    class Parts;

    const std::function<NSView*()> anchor_;
    const std::unique_ptr<Parts> parts_;
};

}  // namespace quillon
