#include "platform/macos/login_item.hpp"

#import <ServiceManagement/ServiceManagement.h>

#include "platform/macos/text.hpp"

namespace quillon {

LoginItem::Status MacLoginItem::status() {
    switch (SMAppService.mainAppService.status) {
        case SMAppServiceStatusEnabled:
            return Status::enabled;
        case SMAppServiceStatusRequiresApproval:
            return Status::requiresApproval;
        case SMAppServiceStatusNotFound:
            // Also what the system says of an application that was never registered.
            return NSBundle.mainBundle.bundleIdentifier != nil ? Status::notRegistered : Status::notFound;
        case SMAppServiceStatusNotRegistered:
            break;
    }
    return Status::notRegistered;
}

void MacLoginItem::enlist() {
    NSError* error = nil;
    if (![SMAppService.mainAppService registerAndReturnError:&error]) {
        throw LoginItemError(plainText(error.localizedDescription));
    }
}

void MacLoginItem::withdraw() {
    NSError* error = nil;
    if (![SMAppService.mainAppService unregisterAndReturnError:&error]) {
        throw LoginItemError(plainText(error.localizedDescription));
    }
}

}  // namespace quillon
