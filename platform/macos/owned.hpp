#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace quillon {

struct ReleaseObject {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// One reference to an object of CoreFoundation or of a framework built on it, released at the end. What
/// comes from a function with "Create" or "Copy" in its name goes in here at once.
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, ReleaseObject>;

/// A reference of our own to an object that somebody else holds as well.
template <typename Ref>
Owned<Ref> retained(Ref object) {
    if (object != nullptr) CFRetain(object);
    return Owned<Ref>(object);
}

}  // namespace quillon
