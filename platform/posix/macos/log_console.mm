#include "base/log_console.hpp"

#import <Foundation/Foundation.h>

#include "platform/macos/text.hpp"

namespace quillon {

void writeToConsole(const std::string& line) {
    @autoreleasepool {
        // As an argument, not as the format: a "%" in a line, which a device may have sent, is a "%".
        NSLog(@"%@", systemText(line));
    }
}

}  // namespace quillon
