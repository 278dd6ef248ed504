#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/geometry.hpp"

namespace quillon {

/// One picture on its way from a source to the encoder. Its pixels do not change while anyone holds
/// it; sources keep a small ring and write again into a picture that only they hold.
struct Picture {
    enum class Format {
        bgra,    ///< 32-bit, blue first, one plane
        i420,    ///< planes Y, U, V; BT.601 limited range; width and height even
        native,  ///< the platform's own object in `native`
    };

    struct Plane {
        uint8_t* data = nullptr;
        int stride = 0;  ///< bytes
    };

    Format format = Format::bgra;
    int width = 0;
    int height = 0;
    std::array<Plane, 3> planes{};

    /// Counts a source's pictures from 1 without gaps. `damage` says where a picture differs from the
    /// one numbered before it; whoever missed that one must treat everything as changed. 0 means that
    /// the source keeps no account: everything may have changed.
    uint64_t sequence = 0;
    std::vector<PixelRect> damage;

    std::shared_ptr<void> memory;  ///< keeps the planes alive
    void* native = nullptr;
};

using PicturePtr = std::shared_ptr<const Picture>;

}  // namespace quillon
