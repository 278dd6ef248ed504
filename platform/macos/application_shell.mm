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

- (void)applicationWillTerminate:(NSNotification*)notification {
    if (_callbacks.willTerminate) _callbacks.willTerminate();
}

@end

namespace quillon {

namespace {

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

    /// Does not come back: when the application ends, the system tells the delegate and then ends the
    /// process.
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
    }

    void terminate() override {
        loop_.post([] { [NSApp terminate:nil]; });
    }

    std::unique_ptr<StatusItem> makeStatusItem(std::function<void()> onClick) override {
        return remembered(std::make_unique<MacStatusItem>(std::move(onClick)));
    }
    std::unique_ptr<StatusItem> makeStatusItem(MenuCallbacks menu) override {
        return remembered(std::make_unique<MacStatusItem>(std::move(menu)));
    }
    std::unique_ptr<Panel> makePanel(PanelCallbacks callbacks) override {
        return std::make_unique<MacPanel>(std::move(callbacks), [this] { return statusView_; });
    }

    Dialogs& dialogs() override { return dialogs_; }
    Opener& opener() override { return opener_; }
    WakeLock& wakeLock() override { return wakeLock_; }
    LoginItem& loginItem() override { return loginItem_; }

  private:
    std::unique_ptr<StatusItem> remembered(std::unique_ptr<MacStatusItem> item) {
        statusView_ = item->view();
        return item;
    }

    RunLoop& loop_;
    QuillonApplicationDelegate* delegate_ = nil;  ///< the application does not hold it
    std::array<dispatch_source_t, 2> endSignals_{};
    __weak NSView* statusView_ = nil;  ///< where the panel is shown
    MacDialogs dialogs_;
    MacOpener opener_;
    MacWakeLock wakeLock_;
    MacLoginItem loginItem_;
};

/// Does this application run in another process of the login session?
bool runsAlready() {
    NSString* const identifier = NSBundle.mainBundle.bundleIdentifier;
    if (identifier == nil) return false;
    for (NSRunningApplication* each in
         [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
        if (each.processIdentifier != getpid()) return true;
    }
    return false;
}

}  // namespace

std::unique_ptr<ApplicationShell> makeMacApplicationShell(RunLoop& loop) {
    if (runsAlready()) {
        [NSWorkspace.sharedWorkspace openURL:NSBundle.mainBundle.bundleURL];
        return nullptr;
    }
    return std::make_unique<MacApplicationShell>(loop);
}

}  // namespace quillon
