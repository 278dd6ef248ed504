#include "platform/macos/wake_lock.hpp"

#import <Foundation/Foundation.h>
#import <IOKit/pwr_mgt/IOPMLib.h>

#include "base/log.hpp"
#include "base/text.hpp"
#include "platform/macos/text.hpp"

namespace quillon {

namespace {

class MacAssertion : public WakeLock::Assertion {
  public:
    explicit MacAssertion(IOPMAssertionID id) : id_(id) {}
    ~MacAssertion() override { IOPMAssertionRelease(id_); }
    MacAssertion(const MacAssertion&) = delete;
    MacAssertion& operator=(const MacAssertion&) = delete;

  private:
    const IOPMAssertionID id_;
};

}  // namespace

std::unique_ptr<WakeLock::Assertion> MacWakeLock::preventDisplaySleep(const std::string& reason) {
    IOPMAssertionID id = 0;
    const IOReturn made =
        IOPMAssertionCreateWithName((__bridge CFStringRef) @"NoDisplaySleepAssertion", kIOPMAssertionLevelOn,
                                    (__bridge CFStringRef)systemText(reason), &id);
    if (made != kIOReturnSuccess) {
        Log::write(formatted("the system refuses to keep the display awake (%d)", made));
        return nullptr;
    }
    return std::make_unique<MacAssertion>(id);
}

}  // namespace quillon
