#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace quillon::device {

/// Owns a file descriptor.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }

    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }

  private:
    int number_;
};

/// What a failed system call throws.
inline std::system_error systemError(const char* what) {
    return {errno, std::generic_category(), what};
}

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
