#pragma once

#include <unistd.h>

#include <utility>

namespace kova::wire {

/// Owns a file descriptor of the system, and closes it.
class FileDescriptor {
public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    /// Returns the number, or -1 if the object is empty.
    int get() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }
    /// Gives up the ownership.
    int release() noexcept { return std::exchange(number_, -1); }
    void reset() noexcept {
        if (number_ >= 0) {
            ::close(std::exchange(number_, -1));
        }
    }

private:
    int number_ = -1;
};

}  // namespace kova::wire
