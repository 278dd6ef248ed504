#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/geometry.hpp"

namespace quillon::bench {

/// A picture that scenes are put together from: 32-bit BGRX rows without padding. The memory belongs
/// to the SheetStore that made it.
struct Sheet {
    Size size;
    uint32_t* pixels = nullptr;
    uint32_t segment = 0;  ///< the display server's name for the memory; 0 where there is no server

    uint32_t* row(int y) const { return pixels + static_cast<ptrdiff_t>(y) * size.width; }
};

/// Makes sheets and keeps them until its own end.
class SheetStore {
  public:
    virtual ~SheetStore() = default;
    /// A sheet of zeroes. Throws std::runtime_error when there is no memory of the right kind.
    virtual Sheet make(Size size) = 0;
};

/// What a scene is drawn on.
class Surface {
  public:
    virtual ~Surface() = default;
    /// Copies `from` of the sheet to (x, y). What lies outside the surface is cut off.
    virtual void put(const Sheet& sheet, const PixelRect& from, int x, int y) = 0;
};

/// Sheets in the process's own memory.
class HeapSheets : public SheetStore {
  public:
    Sheet make(Size size) override;

  private:
    std::vector<std::unique_ptr<uint32_t[]>> memory_;
};

/// Draws into a sheet: how a scene looks without a screen.
class SheetSurface : public Surface {
  public:
    explicit SheetSurface(Sheet target) : target_(target) {}
    void put(const Sheet& sheet, const PixelRect& from, int x, int y) override;

  private:
    Sheet target_;
};

}  // namespace quillon::bench
