#pragma once

#include <stdint.h>

// Virtual monitors for callers in C. A handle is one reference to a monitor, null is none; the monitor is
// there until its handle is destroyed. Any thread. Nothing here logs or throws: failure is a null handle or
// the identifier 0.

#ifdef __cplusplus
extern "C" {
#endif

/// One mode of `width` × `height` pixels at `refreshRate` hertz. `hiDPI`: 0 is off. Without a name the
/// monitor is called "Quillon".
void* pv_virtual_display_create(uint32_t width, uint32_t height, int hiDPI, uint32_t maxPixelsWide,
                                uint32_t maxPixelsHigh, const char* name, double refreshRate);

/// Two modes; the second one only when both its numbers are above 0.
void* pv_virtual_display_create_modes(uint32_t width, uint32_t height, uint32_t secondWidth,
                                      uint32_t secondHeight, int hiDPI, uint32_t maxPixelsWide,
                                      uint32_t maxPixelsHigh, const char* name, double refreshRate);

/// `count` modes, in order of preference.
void* pv_virtual_display_create_sizes(const uint32_t* widths, const uint32_t* heights, int count, int hiDPI,
                                      uint32_t maxPixelsWide, uint32_t maxPixelsHigh, const char* name,
                                      double refreshRate);

/// The CoreGraphics display identifier; 0 for a null handle, and when the system gave none.
uint32_t pv_virtual_display_id(void* handle);

/// Removes the monitor; a null handle is ignored.
void pv_virtual_display_destroy(void* handle);

#ifdef __cplusplus
}
#endif
