#include "platform/linux/shell/large_pages.hpp"

#include <sys/prctl.h>

namespace quillon {

void useLargePages(bool use) {
    prctl(PR_SET_THP_DISABLE, use ? 0UL : 1UL, 0UL, 0UL, 0UL);
}

}  // namespace quillon
