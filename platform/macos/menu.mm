#include "platform/macos/menu.hpp"

#include <utility>

#include "platform/macos/text.hpp"

@interface QuillonMenu ()
- (NSMenuItem*)itemFor:(const quillon::MenuItem&)value;
- (void)fill:(NSMenu*)menu with:(const quillon::Menu&)content;
- (void)choose:(NSMenuItem*)sender;
@end

@implementation QuillonMenu {
    quillon::MenuCallbacks _callbacks;
    quillon::Menu _choices;  // what can be clicked; an item's tag is its place here
}

- (instancetype)initWithCallbacks:(quillon::MenuCallbacks)callbacks {
    if ((self = [super init])) {
        _callbacks = std::move(callbacks);
        _menu = [NSMenu new];
        _menu.autoenablesItems = NO;
        _menu.delegate = self;
    }
    return self;
}

- (NSMenuItem*)itemFor:(const quillon::MenuItem&)value {
    if (value.isSeparator) return [NSMenuItem separatorItem];
    NSMenuItem* const item = [[NSMenuItem alloc] initWithTitle:quillon::systemText(value.title)
                                                        action:nil
                                                 keyEquivalent:quillon::systemText(value.key)];
    item.enabled = value.enabled;
    item.state = value.checked ? NSControlStateValueOn : NSControlStateValueOff;
    if (!value.toolTip.empty()) item.toolTip = quillon::systemText(value.toolTip);
    if (!value.submenu.empty()) {
        item.submenu = [NSMenu new];
        item.submenu.autoenablesItems = NO;
        [self fill:item.submenu with:value.submenu];
    } else if (!value.action.empty()) {
        item.target = self;
        item.action = @selector(choose:);
        item.tag = static_cast<NSInteger>(_choices.size());
        _choices.push_back(value);
    }
    return item;
}

- (void)fill:(NSMenu*)menu with:(const quillon::Menu&)content {
    for (const quillon::MenuItem& each : content) [menu addItem:[self itemFor:each]];
}

- (void)choose:(NSMenuItem*)sender {
    // A copy of both: the action may take this menu away.
    const auto onAction = _callbacks.onAction;
    const quillon::MenuItem chosen = _choices.at(static_cast<size_t>(sender.tag));
    onAction(chosen);
}

- (void)menuNeedsUpdate:(NSMenu*)menu {
    _choices.clear();
    [menu removeAllItems];
    [self fill:menu with:_callbacks.menuNeedsUpdate()];
}

- (void)menuWillOpen:(NSMenu*)menu {
    if (_callbacks.menuWillOpen) _callbacks.menuWillOpen();
}

- (void)menuDidClose:(NSMenu*)menu {
    if (_callbacks.menuDidClose) _callbacks.menuDidClose();
}

@end
