#pragma once

#import <AppKit/AppKit.h>

#include "platform/menu.hpp"
#include "platform/status_item.hpp"

namespace quillon {

/// An item of the menu bar. The system gives it back when this object goes.
class MacStatusItem : public StatusItem {
  public:
    explicit MacStatusItem(std::function<void()> onClick);
    explicit MacStatusItem(MenuCallbacks menu);
    ~MacStatusItem() override;
    MacStatusItem(const MacStatusItem&) = delete;
    MacStatusItem& operator=(const MacStatusItem&) = delete;

    void setLook(const StatusItemLook& look) override;

    NSStatusItem* item() const { return item_; }

  private:
    NSStatusItem* const item_;
    NSObject* const target_;  ///< of the click or of the menu; the system holds neither
    std::optional<StatusItemLook> shown_;
};

}  // namespace quillon
