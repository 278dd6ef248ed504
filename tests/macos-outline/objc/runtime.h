#pragma once

// Outline of the Objective-C runtime: the declarations that platform/macos/ calls. Any thread.

#import <Foundation/Foundation.h>

struct objc_method_description {
    SEL _Nullable name;
    char* _Nullable types;
};

/// The methods that the protocol itself declares, those of its properties among them. The list is the
/// caller's to `free`.
extern "C" struct objc_method_description* _Nullable protocol_copyMethodDescriptionList(
    Protocol* _Nonnull protocol, BOOL isRequired, BOOL isInstance, unsigned int* _Nullable count);
