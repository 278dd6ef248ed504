#pragma once

#import <AppKit/AppKit.h>

#include "platform/menu.hpp"

/// A menu that asks for its content each time it opens.
@interface QuillonMenu : NSObject <NSMenuDelegate>
@property(nonatomic, readonly) NSMenu* menu;
- (instancetype)initWithCallbacks:(quillon::MenuCallbacks)callbacks;
@end
