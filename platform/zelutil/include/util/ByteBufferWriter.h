#pragma once

#include <cstddef>
#include <cstring>

#include "util/Export.h"

namespace util {

/// A growing buffer of bytes. New bytes are appended at its end.
///
/// The bytes stay in the buffer until the writer is truncated or destroyed. Used by one thread at a
/// time.
///
///     util::ByteBufferWriter writer(256);
///     const bool failed = writer.append("px", 2);
///     writer.size();  // 2
class ByteBufferWriter {
public:
    /// Creates an empty buffer. The first write reserves a capacity of at least `initialCapacity`
    /// bytes.
    explicit ByteBufferWriter(unsigned long initialCapacity) noexcept
        : initialCapacity_(initialCapacity) {}
    ByteBufferWriter(const ByteBufferWriter&) = delete;
    ByteBufferWriter& operator=(const ByteBufferWriter&) = delete;
    UTIL_API ~ByteBufferWriter();

    /// Returns the number of bytes written.
    unsigned long size() const noexcept { return size_; }
    /// Returns the bytes written. The pointer is valid until the next write.
    unsigned char const* data() const noexcept { return bytes_; }
    /// Copies the first `count` bytes to `destination`. Returns false on success. Returns true,
    /// without copying anything, if fewer than `count` bytes were written.
    UTIL_API bool retrieve(unsigned char* destination, unsigned long count) const noexcept;

    /// Appends `count` bytes. Returns false on success. Returns true, without appending anything,
    /// if memory is exhausted.
    [[nodiscard]] bool append(void const* bytes, std::size_t count) noexcept {
        unsigned char* target = extend(count);
        if (target == nullptr) {
            return true;
        }
        if (count != 0) {
            std::memcpy(target, bytes, count);
        }
        return false;
    }
    /// Appends one byte. Returns true, without appending anything, if memory is exhausted.
    [[nodiscard]] bool appendByte(unsigned char byte) noexcept {
        unsigned char* target = extend(1);
        if (target == nullptr) {
            return true;
        }
        *target = byte;
        return false;
    }
    /// Appends `count` bytes of unspecified content and returns their address, where the caller
    /// writes them. The address is valid until the next write. Returns null, without appending
    /// anything, if memory is exhausted.
    [[nodiscard]] unsigned char* extend(std::size_t count) noexcept {
        if (capacity_ - size_ < count || bytes_ == nullptr) {
            if (grow(count)) {
                return nullptr;
            }
        }
        unsigned char* target = bytes_ + size_;
        size_ += count;
        return target;
    }
    /// @{
    /// Direct writing: `reserve(n)` guarantees `n` bytes at `end()`, and `commit(p)` marks all
    /// bytes before `p` as written. `capacityLeft()` returns the number of bytes that can be
    /// written at `end()`. `reserve` returns false on success and true if memory is exhausted. The
    /// address that `end()` returns is valid until the next write.
    std::size_t capacityLeft() const noexcept { return capacity_ - size_; }
    [[nodiscard]] bool reserve(std::size_t count) noexcept {
        return capacityLeft() < count && grow(count);
    }
    unsigned char* end() noexcept { return bytes_ + size_; }
    void commit(unsigned char const* end) noexcept {
        size_ = static_cast<unsigned long>(end - bytes_);
    }
    /// @}
    /// Increases the capacity to at least `size() + count` and at least twice the former capacity.
    /// Returns false on success. Returns true, without changing anything, if memory is exhausted.
    /// The functions above call it if the capacity is too small.
    [[nodiscard]] UTIL_API bool grow(std::size_t count) noexcept;
    /// Removes all bytes after the first `size` bytes. Does nothing if the buffer has fewer bytes.
    void truncate(unsigned long size) noexcept {
        if (size < size_) {
            size_ = size;
        }
    }

private:
    unsigned char* bytes_ = nullptr;
    unsigned long size_ = 0;
    unsigned long capacity_ = 0;
    unsigned long initialCapacity_;
};

}  // namespace util
