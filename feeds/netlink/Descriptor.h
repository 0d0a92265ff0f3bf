// A file descriptor that is closed where it ends.
#pragma once

#include <unistd.h>

#include <utility>

namespace Netlink {

class Descriptor {
public:
    // Takes it over; below 0 for none.
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }

    int number() const { return number_; }
    // Whoever asks closes it.
    [[nodiscard]] int release() { return std::exchange(number_, -1); }
    explicit operator bool() const { return number_ >= 0; }

private:
    int number_;
};

}  // namespace Netlink
