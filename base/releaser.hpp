#pragma once

namespace quillon {

/// For a `std::unique_ptr` to what a C library gives away: lets go of it by the library's own function. For
/// example `std::unique_ptr<cairo_t, Releaser<cairo_destroy>>`.
template <auto release>
struct Releaser {
    template <typename Object>
    void operator()(Object* object) const {
        release(object);
    }
};

}  // namespace quillon
