#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace quillon {

/// Owns a file descriptor; a negative one is none.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (isOpen()) ::close(number_);
    }

    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    void close() { *this = Descriptor(); }

  private:
    int number_;
};

/// What a failed system call throws; `what` names the call or its object.
inline std::system_error systemError(const std::string& what) {
    const int number = errno;
    return {number, std::generic_category(), what};
}

}  // namespace quillon
