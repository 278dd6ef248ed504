// expected: incompatible pointer to integer conversion assigning to 'unsigned int' from 'NSString *'
#import "platform/macos/private_virtual_display.h"

void name(id<QuillonDisplayDescriptor> descriptor) {
    descriptor.serialNum = @"1";
}
