// expected: requires a bridged cast
#import <Foundation/Foundation.h>

CFStringRef name(NSString* text) {
    return (CFStringRef)text;
}
