#include "platform/macos/status_item.hpp"

#include <utility>

#include "platform/macos/menu.hpp"
#include "platform/macos/text.hpp"

/// Hands a click to a function.
@interface QuillonClick : NSObject
- (instancetype)initWithAction:(std::function<void()>)action;
- (void)click:(id)sender;
@end

@implementation QuillonClick {
    std::function<void()> _action;
}

- (instancetype)initWithAction:(std::function<void()>)action {
    if ((self = [super init])) _action = std::move(action);
    return self;
}

- (void)click:(id)sender {
    const auto action = _action;  // it may take this object away
    action();
}

@end

namespace quillon {

namespace {

NSStatusItem* newItem() {
    return [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
}

NSImage* imageOf(const StatusItemLook& look) {
    NSString* const symbol = look.icon == StatusItemLook::Icon::error ? @"exclamationmark.triangle.fill"
                                                                      : @"rectangle.on.rectangle";
    NSImage* const image = [NSImage imageWithSystemSymbolName:symbol
                                     accessibilityDescription:systemText(look.description)];
    [image setTemplate:YES];  // a property whose name C++ keeps for itself
    return image;
}

}  // namespace

MacStatusItem::MacStatusItem(std::function<void()> onClick)
    : item_(newItem()), target_([[QuillonClick alloc] initWithAction:std::move(onClick)]) {
    item_.button.target = target_;
    item_.button.action = @selector(click:);
}

MacStatusItem::MacStatusItem(MenuCallbacks menu)
    : item_(newItem()), target_([[QuillonMenu alloc] initWithCallbacks:std::move(menu)]) {
    item_.menu = static_cast<QuillonMenu*>(target_).menu;
}

MacStatusItem::~MacStatusItem() {
    [NSStatusBar.systemStatusBar removeStatusItem:item_];
}

void MacStatusItem::setLook(const StatusItemLook& look) {
    if (!shown_ || shown_->icon != look.icon || shown_->description != look.description) {
        item_.button.image = imageOf(look);
        item_.button.title = @"";
    }
    if (!shown_ || shown_->toolTip != look.toolTip) item_.button.toolTip = systemText(look.toolTip);
    shown_ = look;
}

}  // namespace quillon
