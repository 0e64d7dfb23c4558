#include "util/ByteBufferWriter.h"

#include <algorithm>
#include <cstdint>
#include <new>

namespace util {

namespace {

constexpr std::size_t SMALLEST = 64;
constexpr std::size_t LARGEST = PTRDIFF_MAX;

}  // namespace

ByteBufferWriter::~ByteBufferWriter() {
    ::operator delete(bytes_);
}

bool ByteBufferWriter::retrieve(unsigned char* destination, unsigned long count) const noexcept {
    if (count > size_) {
        return true;
    }
    if (count != 0) {
        std::memcpy(destination, bytes_, count);
    }
    return false;
}

// At least doubles the capacity, so that the total cost of moving bytes to larger buffers is
// proportional to the number of bytes written.
bool ByteBufferWriter::grow(std::size_t count) noexcept {
    if (count > LARGEST - size_) {
        return true;
    }
    const std::size_t wanted = std::max({size_ + count, 2 * capacity_, initialCapacity_, SMALLEST});
    const std::size_t capacity = std::min(wanted, LARGEST);
    auto* bytes = static_cast<unsigned char*>(::operator new(capacity, std::nothrow));
    if (bytes == nullptr) {
        return true;
    }
    if (size_ != 0) {
        std::memcpy(bytes, bytes_, size_);
    }
    ::operator delete(bytes_);
    bytes_ = bytes;
    capacity_ = capacity;
    return false;
}

}  // namespace util
