#include "platform/macos/service_browser.hpp"

#import <Foundation/Foundation.h>
#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "platform/macos/text.hpp"
#include "platform/posix/interface_addresses.hpp"

// The system names a newer framework for new programs; this one it goes on serving.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace quillon {

namespace {

/// The address in a socket address record, if it is whole.
std::optional<ServiceBrowser::Address> addressIn(NSData* record) {
    const auto* const address = static_cast<const sockaddr*>(record.bytes);
    if (record.length < sizeof(sockaddr)) return std::nullopt;
    char host[NI_MAXHOST] = "";
    if (getnameinfo(address, static_cast<socklen_t>(record.length), host, sizeof host, nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        return std::nullopt;
    }
    return ServiceBrowser::Address{address->sa_family, host};
}

Bytes bytesOf(NSData* data) {
    const auto* const bytes = static_cast<const uint8_t*>(data.bytes);
    return {bytes, bytes + data.length};
}

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

ServiceBrowser::Service describe(NSNetService* service) {
    ServiceBrowser::Service result;
    result.name = plainText(service.name);
    result.port = static_cast<int>(service.port);
    for (NSData* record in service.addresses) {
        if (auto address = addressIn(record)) result.addresses.push_back(std::move(*address));
    }
    if (NSData* const txt = [service TXTRecordData]) {
        NSDictionary<NSString*, NSData*>* const entries = [NSNetService dictionaryFromTXTRecordData:txt];
        for (NSString* key in entries) result.txt[lowerCase(plainText(key))] = bytesOf(entries[key]);
    }
    return result;
}

}  // namespace

}  // namespace quillon

/// One search: the browser, the services that it found, and who hears of them. Everything on one thread,
/// while its run loop runs.
@interface QuillonServiceSearch : NSObject <NSNetServiceBrowserDelegate, NSNetServiceDelegate>
@property(nonatomic, readonly) BOOL isSearching;
- (instancetype)initWithCallbacks:(quillon::ServiceBrowser::Callbacks)callbacks
                             type:(NSString*)type
                           domain:(NSString*)domain;
/// Begins if it has not, and once more after the system refused to.
- (void)search;
- (void)resolveName:(NSString*)name within:(NSTimeInterval)limit;
- (BOOL)knows:(NSString*)name;
- (void)end;
@end

@implementation QuillonServiceSearch {
    quillon::ServiceBrowser::Callbacks _callbacks;
    NSString* _type;
    NSString* _domain;
    BOOL _hasToldFailure;
    NSNetServiceBrowser* _browser;
    NSMutableArray<NSNetService*>* _found;  // a service that nobody holds does not resolve
    NSRunLoop* _loop;
}

- (instancetype)initWithCallbacks:(quillon::ServiceBrowser::Callbacks)callbacks
                             type:(NSString*)type
                           domain:(NSString*)domain {
    if ((self = [super init])) {
        _callbacks = std::move(callbacks);
        _type = type;
        _domain = domain;
        _browser = [[NSNetServiceBrowser alloc] init];
        _found = [NSMutableArray new];
        _loop = NSRunLoop.currentRunLoop;
        _browser.delegate = self;
        [_browser scheduleInRunLoop:_loop forMode:NSDefaultRunLoopMode];
    }
    return self;
}

- (void)search {
    if (_isSearching) return;
    _isSearching = YES;
    [_browser searchForServicesOfType:_type inDomain:_domain];
}

- (BOOL)knows:(NSString*)name {
    for (NSNetService* service in _found) {
        if ([service.name isEqualToString:name]) return YES;
    }
    return NO;
}

- (void)resolveName:(NSString*)name within:(NSTimeInterval)limit {
    for (NSNetService* service in _found) {
        if (![service.name isEqualToString:name]) continue;
        service.delegate = self;
        [service scheduleInRunLoop:_loop forMode:NSDefaultRunLoopMode];
        [service resolveWithTimeout:limit];
    }
}

- (void)end {
    _browser.delegate = nil;
    [_browser stop];
    [_browser removeFromRunLoop:_loop forMode:NSDefaultRunLoopMode];
    for (NSNetService* service in _found) {
        service.delegate = nil;
        [service stop];
        [service removeFromRunLoop:_loop forMode:NSDefaultRunLoopMode];
    }
    [_found removeAllObjects];
}

- (void)netServiceBrowser:(NSNetServiceBrowser*)browser
           didFindService:(NSNetService*)service
               moreComing:(BOOL)moreComing {
    const BOOL isKnown = [self knows:service.name];  // on another interface
    [_found addObject:service];
    if (!isKnown) _callbacks.onFound(quillon::plainText(service.name));
}

- (void)netServiceBrowser:(NSNetServiceBrowser*)browser
         didRemoveService:(NSNetService*)service
               moreComing:(BOOL)moreComing {
    [_found removeObject:service];
}

- (void)netServiceBrowser:(NSNetServiceBrowser*)browser
             didNotSearch:(NSDictionary<NSString*, NSNumber*>*)error {
    _isSearching = NO;
    if (std::exchange(_hasToldFailure, YES)) return;
    _callbacks.onNotSearching(quillon::plainText(error.description));
}

// Comes again when a further address is known.
- (void)netServiceDidResolveAddress:(NSNetService*)service {
    _callbacks.onResolved(quillon::describe(service));
}

- (void)netService:(NSNetService*)service didNotResolve:(NSDictionary<NSString*, NSNumber*>*)error {
    _callbacks.onNotResolved(quillon::plainText(service.name), quillon::plainText(error.description));
}

@end

namespace quillon {

namespace {

class MacSearch : public ServiceBrowser::Search {
  public:
    MacSearch(const std::string& type, const std::string& domain, ServiceBrowser::Callbacks callbacks)
        : search_([[QuillonServiceSearch alloc] initWithCallbacks:std::move(callbacks)
                                                             type:systemText(type)
                                                           domain:systemText(domain)]) {}
    ~MacSearch() override { [search_ end]; }
    MacSearch(const MacSearch&) = delete;
    MacSearch& operator=(const MacSearch&) = delete;

    void run(Duration slice) override {
        @autoreleasepool {
            NSDate* const end = [NSDate dateWithTimeIntervalSinceNow:toSeconds(slice)];
            [search_ search];
            const BOOL served = [NSRunLoop.currentRunLoop runMode:NSDefaultRunLoopMode beforeDate:end];
            // A run loop with nothing to wait for returns at once, and the next attempt comes with the next
            // slice.
            if (!served || !search_.isSearching) [NSThread sleepUntilDate:end];
        }
    }

    void resolve(const std::string& name, Duration limit) override {
        [search_ resolveName:systemText(name) within:toSeconds(limit)];
    }

  private:
    QuillonServiceSearch* const search_;
};

}  // namespace

std::unique_ptr<ServiceBrowser::Search> MacServiceBrowser::search(const std::string& type,
                                                                  const std::string& domain,
                                                                  Callbacks callbacks) {
    @autoreleasepool {
        return std::make_unique<MacSearch>(type, domain, std::move(callbacks));
    }
}

std::vector<std::string> MacServiceBrowser::interfaceAddresses() {
    return ipv4InterfaceAddresses();
}

}  // namespace quillon
