#pragma once

#import <AppKit/AppKit.h>

#include <functional>

#include "platform/panel.hpp"

/// Draws a panel's content, from top to bottom in the order of its fields, and reports what the user does. No
/// control changes by itself: a switch goes back until the next content says otherwise.
@interface QuillonPanelView : NSStackView
- (instancetype)initWithReport:(std::function<void(const quillon::PanelChange&)>)report;
/// Shows `content`. When only the header differs from what is shown, the controls stay the same objects;
/// otherwise they are made anew, and the keyboard's focus goes to the one of the same name.
- (void)show:(const quillon::PanelContent&)content;
@end
