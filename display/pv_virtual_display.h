#pragma once

#include <stdint.h>

// Virtual monitors for callers in C, the same on every system. A handle stands for one monitor and belongs to
// the caller; the monitor exists until its handle is destroyed or the process ends. Null is no monitor: all
// failures look like this, nothing is logged. Any thread.

#ifdef __cplusplus
extern "C" {
#endif

/// A monitor with one mode of `width` x `height` pixels at `refreshRate` Hz. `hiDPI`: not 0 asks for modes of
/// double density. Without a name the monitor is called "Quillon".
void* pv_virtual_display_create(uint32_t width, uint32_t height, int hiDPI, uint32_t maxPixelsWide,
                                uint32_t maxPixelsHigh, const char* name, double refreshRate);

/// With a second mode, unless one of its numbers is 0.
void* pv_virtual_display_create_modes(uint32_t width, uint32_t height, uint32_t secondWidth,
                                      uint32_t secondHeight, int hiDPI, uint32_t maxPixelsWide,
                                      uint32_t maxPixelsHigh, const char* name, double refreshRate);

/// With `count` modes in this order; those that cannot be are left out. Null when `count` is below 1.
void* pv_virtual_display_create_sizes(const uint32_t* widths, const uint32_t* heights, int count, int hiDPI,
                                      uint32_t maxPixelsWide, uint32_t maxPixelsHigh, const char* name,
                                      double refreshRate);

/// The system's identifier of the display; 0 for a null handle, and when the system has none for it.
uint32_t pv_virtual_display_id(void* handle);

/// Removes the monitor and frees the handle; a null handle is ignored.
void pv_virtual_display_destroy(void* handle);

#ifdef __cplusplus
}
#endif
