#pragma once

#include <sys/eventfd.h>

#include "base/descriptor.hpp"

namespace quillon::device {

/// A descriptor that another thread makes readable. Any thread.
class Wake {
  public:
    Wake() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!event_.isOpen()) throw systemError("eventfd");
    }
    int descriptor() const { return event_.get(); }
    void signal() { ::eventfd_write(event_.get(), 1); }
    void clear() {
        eventfd_t count = 0;
        ::eventfd_read(event_.get(), &count);
    }

  private:
    Descriptor event_;
};

}  // namespace quillon::device
