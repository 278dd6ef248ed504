// expected: -[Listener netServiceDidResolveAdress:] is declared nowhere
#import <Foundation/Foundation.h>

@interface Listener : NSObject <NSNetServiceDelegate>
@end

@implementation Listener
- (void)netServiceDidResolveAdress:(NSNetService*)service {
}
@end
