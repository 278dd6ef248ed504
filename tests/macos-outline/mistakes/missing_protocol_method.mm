// expected: method 'applySettings:' in protocol 'QuillonVirtualDisplay' not implemented
#import "platform/macos/private_virtual_display.h"

@interface Monitor : NSObject <QuillonVirtualDisplay>
@end

@implementation Monitor
@synthesize displayID;
- (nullable instancetype)initWithDescriptor:(id<QuillonDisplayDescriptor>)descriptor {
    return [super init];
}
@end
