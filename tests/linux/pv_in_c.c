#include "tests/linux/pv_in_c.h"

#include <stddef.h>

#include "display/pv_virtual_display.h"

uint32_t pvIdentifierSeenFromC(uint32_t width, uint32_t height) {
    void *const display = pv_virtual_display_create(width, height, 0, 8192, 8192, NULL, 60.0);
    const uint32_t identifier = pv_virtual_display_id(display);
    pv_virtual_display_destroy(display);
    return identifier;
}

int pvNullIsHarmlessInC(void) {
    pv_virtual_display_destroy(NULL);
    return pv_virtual_display_id(NULL) == 0 &&
           pv_virtual_display_create_sizes(NULL, NULL, 0, 0, 8192, 8192, NULL, 60.0) == NULL;
}
