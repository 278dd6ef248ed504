#pragma once

#include <stdint.h>

// Calls of the virtual display functions from C, where they are made for.

#ifdef __cplusplus
extern "C" {
#endif

/// Creates a display of this size, destroys it, and tells the identifier that it had.
uint32_t pvIdentifierSeenFromC(uint32_t width, uint32_t height);

/// Does null pass through all functions without harm?
int pvNullIsHarmlessInC(void);

#ifdef __cplusplus
}
#endif
