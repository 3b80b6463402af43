#pragma once

// An open file or folder, closed at the end of its scope. Closing keeps errno, so that the reason
// of a failure survives the cleaning up. Each object belongs to one thread at a time.

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace cutstack {

class Descriptor {
public:
    /// Takes over what open() answered; a negative number is nothing open.
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        const int fault = errno;
        if (number_ >= 0)
            ::close(number_);
        errno = fault;
    }

    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }

private:
    int number_;
};

} // namespace cutstack
