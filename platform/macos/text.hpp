#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

#include "base/text.hpp"

namespace quillon {

/// Text for the system. It refuses bytes that are not UTF-8, so these are repaired first.
inline NSString* systemText(std::string_view text) {
    const std::string valid = repairedUtf8(viewOf(text));
    return [[NSString alloc] initWithBytes:valid.data() length:valid.size() encoding:NSUTF8StringEncoding];
}

/// Text of the system; empty when it has none, or none that is Unicode.
inline std::string plainText(NSString* text) {
    const char* const bytes = text.UTF8String;
    return bytes != nullptr ? bytes : "";
}

}  // namespace quillon
