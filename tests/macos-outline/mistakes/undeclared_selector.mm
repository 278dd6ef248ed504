// expected: undeclared selector 'chooseEverything:'
#import <AppKit/AppKit.h>

SEL action() {
    return @selector(chooseEverything:);
}
