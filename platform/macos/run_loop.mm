#include "platform/macos/run_loop.hpp"

#import <Foundation/Foundation.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace quillon {

namespace {

class MacTimer : public Timer {
  public:
    explicit MacTimer(NSTimer* timer) : timer_(timer) {}
    ~MacTimer() override { [timer_ invalidate]; }
    MacTimer(const MacTimer&) = delete;
    MacTimer& operator=(const MacTimer&) = delete;

  private:
    NSTimer* const timer_;
};

CFRunLoopSourceRef makeSource(void* loop, void (*perform)(void*)) {
    CFRunLoopSourceContext context{};
    context.info = loop;
    context.perform = perform;
    return CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
}

}  // namespace

MacRunLoop::MacRunLoop() : source_(makeSource(this, &MacRunLoop::perform)) {
    CFRunLoopAddSource(CFRunLoopGetMain(), source_.get(), kCFRunLoopCommonModes);
}

MacRunLoop::~MacRunLoop() {
    CFRunLoopSourceInvalidate(source_.get());
}

Instant MacRunLoop::now() const {
    return Instant(std::chrono::steady_clock::now().time_since_epoch());
}

void MacRunLoop::post(Action action) {
    {
        const MutexLock guard(lock_);
        posted_.push_back(std::move(action));
    }
    CFRunLoopSourceSignal(source_.get());
    CFRunLoopWakeUp(CFRunLoopGetMain());
}

void MacRunLoop::perform(void* loop) {
    @autoreleasepool {
        static_cast<MacRunLoop*>(loop)->runPosted();
    }
}

/// Runs what was posted before this turn. An action may run the loop itself (an alert does): then the rest is
/// served from there, in order.
void MacRunLoop::runPosted() {
    size_t count = 0;
    {
        const MutexLock guard(lock_);
        count = posted_.size();
    }
    if (count > 1) CFRunLoopSourceSignal(source_.get());
    for (; count > 0; --count) {
        Action action;
        {
            const MutexLock guard(lock_);
            if (posted_.empty()) return;
            action = std::move(posted_.front());
            posted_.pop_front();
        }
        action();
    }
}

std::unique_ptr<Timer> MacRunLoop::addTimer(Duration interval, Repeat repeat, Action action,
                                            Duration tolerance) {
    const bool repeats = repeat == Repeat::forever;
    const Duration shortest = repeats ? Duration(1ms) : Duration::zero();
    const auto shared = std::make_shared<Action>(std::move(action));
    NSTimer* const timer = [NSTimer timerWithTimeInterval:toSeconds(std::max(interval, shortest))
                                                  repeats:repeats
                                                    block:^(NSTimer*) {
                                                      // The action may end its timer, and with it this block.
                                                      const auto running = shared;
                                                      (*running)();
                                                    }];
    timer.tolerance = toSeconds(tolerance);
    [NSRunLoop.mainRunLoop addTimer:timer forMode:NSRunLoopCommonModes];
    return std::make_unique<MacTimer>(timer);
}

void MacRunLoop::run() {
    while (!stopping_.exchange(false)) {
        @autoreleasepool {
            // Returns after each source that was served, and so after the empty work that `stop` posts.
            [NSRunLoop.mainRunLoop runMode:NSDefaultRunLoopMode beforeDate:NSDate.distantFuture];
        }
    }
}

void MacRunLoop::stop() {
    stopping_ = true;
    post([] {});
}

}  // namespace quillon
