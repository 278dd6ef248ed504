#include "platform/macos/application_shell.hpp"

#import <AppKit/AppKit.h>
#import <dispatch/dispatch.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <utility>

#include "platform/macos/dialogs.hpp"
#include "platform/macos/login_item.hpp"
#include "platform/macos/opener.hpp"
#include "platform/macos/panel.hpp"
#include "platform/macos/status_item.hpp"
#include "platform/macos/wake_lock.hpp"

/// The application's delegate: hands on what happens to it.
@interface QuillonApplicationDelegate : NSObject <NSApplicationDelegate>
- (instancetype)initWithCallbacks:(quillon::ApplicationCallbacks)callbacks;
/// Tells that the application ends, if nobody has told yet.
- (void)end;
@end

@implementation QuillonApplicationDelegate {
    quillon::ApplicationCallbacks _callbacks;
}

- (instancetype)initWithCallbacks:(quillon::ApplicationCallbacks)callbacks {
    if ((self = [super init])) _callbacks = std::move(callbacks);
    return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    if (_callbacks.didFinishLaunching) _callbacks.didFinishLaunching();
}

- (void)applicationDidBecomeActive:(NSNotification*)notification {
    if (_callbacks.didBecomeActive) _callbacks.didBecomeActive();
}

- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)hasVisibleWindows {
    if (_callbacks.wasReopened) _callbacks.wasReopened();
    return NO;
}

// The system ends the process, at the end of the login session for example.
- (void)applicationWillTerminate:(NSNotification*)notification {
    [self end];
}

- (void)end {
    const auto willTerminate = std::exchange(_callbacks.willTerminate, nullptr);
    if (willTerminate) willTerminate();
}

@end

namespace quillon {

namespace {

/// Ends the innermost loop of events that runs now: an open alert's, otherwise the application's. A loop
/// looks whether it is to end when it has dispatched an event and at no other time, so it gets one.
void stopInnermostLoop() {
    [NSApp stop:nil];
    NSEvent* const event = [NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                              location:CGPointMake(0, 0)
                                         modifierFlags:0
                                             timestamp:0
                                          windowNumber:0
                                               context:nil
                                               subtype:0
                                                 data1:0
                                                 data2:0];
    if (event != nil) [NSApp postEvent:event atStart:YES];
}

/// Calls `action` on the main thread when the signal comes, instead of what the signal does.
dispatch_source_t watchSignal(int signal, dispatch_block_t action) {
    std::signal(signal, SIG_IGN);
    const dispatch_source_t source = dispatch_source_create(
        DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(signal), 0, dispatch_get_main_queue());
    dispatch_source_set_event_handler(source, action);
    dispatch_resume(source);
    return source;
}

class MacApplicationShell : public ApplicationShell {
  public:
    explicit MacApplicationShell(RunLoop& loop) : loop_(loop), dialogs_(loop) {}

    void run(ApplicationCallbacks callbacks) override {
        NSApplication* const application = NSApplication.sharedApplication;
        delegate_ = [[QuillonApplicationDelegate alloc] initWithCallbacks:std::move(callbacks)];
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        application.delegate = delegate_;
        endSignals_ = {watchSignal(SIGINT,
                                   ^{
                                     terminate();
                                   }),
                       watchSignal(SIGTERM, ^{
                         terminate();
                       })};
        [application run];
        @autoreleasepool {
            [delegate_ end];
        }
        application.delegate = nil;
        for (const dispatch_source_t& source : endSignals_) dispatch_source_cancel(source);
    }

    /// By `stop:`. The system's own `terminate:` would end the process from inside its loop.
    void terminate() override {
        loop_.post([this] {
            dialogs_.close();
            [statusItem_.menu cancelTracking];
            stopLoops();
        });
    }

    std::unique_ptr<StatusItem> makeStatusItem(std::function<void()> onClick) override {
        return remembered(std::make_unique<MacStatusItem>(std::move(onClick)));
    }
    std::unique_ptr<StatusItem> makeStatusItem(MenuCallbacks menu) override {
        return remembered(std::make_unique<MacStatusItem>(std::move(menu)));
    }
    std::unique_ptr<Panel> makePanel(PanelCallbacks callbacks) override {
        return std::make_unique<MacPanel>(std::move(callbacks), [this] { return statusItem_.button; });
    }

    Dialogs& dialogs() override { return dialogs_; }
    Opener& opener() override { return opener_; }
    WakeLock& wakeLock() override { return wakeLock_; }
    LoginItem& loginItem() override { return loginItem_; }

  private:
    /// The alerts' first: each runs inside of the one before it, and the outermost in the application's.
    void stopLoops() {
        const bool isInsideAlert = NSApp.modalWindow != nil;
        stopInnermostLoop();
        if (isInsideAlert) loop_.post([this] { stopLoops(); });
    }

    std::unique_ptr<StatusItem> remembered(std::unique_ptr<MacStatusItem> item) {
        statusItem_ = item->item();
        return item;
    }

    RunLoop& loop_;
    QuillonApplicationDelegate* delegate_ = nil;  ///< the application does not hold it
    std::array<dispatch_source_t, 2> endSignals_{};
    __weak NSStatusItem* statusItem_ = nil;  ///< where the panel is shown
    MacDialogs dialogs_;
    MacOpener opener_;
    MacWakeLock wakeLock_;
    MacLoginItem loginItem_;
};

/// This application in another process of the login session; nil when there is none.
NSRunningApplication* runningAlready() {
    NSString* const identifier = NSBundle.mainBundle.bundleIdentifier;
    if (identifier == nil) return nil;
    for (NSRunningApplication* each in
         [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
        if (each.processIdentifier != getpid()) return each;
    }
    return nil;
}

}  // namespace

std::unique_ptr<ApplicationShell> makeMacApplicationShell(RunLoop& loop) {
    if (NSRunningApplication* const other = runningAlready()) {
        // Where that one lies, which may be elsewhere than this program.
        if (NSURL* const place = other.bundleURL) [NSWorkspace.sharedWorkspace openURL:place];
        return nullptr;
    }
    return std::make_unique<MacApplicationShell>(loop);
}

}  // namespace quillon
