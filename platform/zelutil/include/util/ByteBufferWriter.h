#pragma once

#include <cstddef>
#include <cstring>

#include "util/Export.h"

namespace util {

/// A growing buffer of bytes that is written at the end.
///
/// Not a stream: what was written stays until the writer is destroyed or truncated. One thread
/// at a time.
///
///     util::ByteBufferWriter writer(256);
///     const bool failed = writer.append("px", 2);
///     writer.size();  // 2
class ByteBufferWriter {
public:
    /// Makes an empty buffer with room for `initialCapacity` bytes. The room is got on the first
    /// write.
    explicit ByteBufferWriter(unsigned long initialCapacity) noexcept
        : initialCapacity_(initialCapacity) {}
    ByteBufferWriter(const ByteBufferWriter&) = delete;
    ByteBufferWriter& operator=(const ByteBufferWriter&) = delete;
    UTIL_API ~ByteBufferWriter();

    /// Number of bytes written.
    unsigned long size() const noexcept { return size_; }
    /// The bytes written; valid until the next write.
    unsigned char const* data() const noexcept { return bytes_; }
    /// Copies the first `count` bytes to `destination`. False on success; true, with nothing
    /// copied, when fewer were written.
    UTIL_API bool retrieve(unsigned char* destination, unsigned long count) const noexcept;

    /// Appends `count` bytes. False on success; true when memory is exhausted, and then nothing was
    /// appended.
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
    /// Appends one byte; result as for `append`.
    [[nodiscard]] bool appendByte(unsigned char byte) noexcept {
        unsigned char* target = extend(1);
        if (target == nullptr) {
            return true;
        }
        *target = byte;
        return false;
    }
    /// Makes room for `count` more bytes, counts them as written and gives their address for the
    /// caller to fill; null when memory is exhausted.
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
    /// For who writes before knowing how much it will be: how many bytes there is room for, a way
    /// to make room for `count` (false on success; true when memory is exhausted), the address of
    /// that room until the next write, and what counts what was written there, up to `end`.
    std::size_t room() const noexcept { return capacity_ - size_; }
    [[nodiscard]] bool makeRoom(std::size_t count) noexcept {
        return room() < count && grow(count);
    }
    unsigned char* end() noexcept { return bytes_ + size_; }
    void take(unsigned char const* end) noexcept {
        size_ = static_cast<unsigned long>(end - bytes_);
    }
    /// @}
    /// Takes back everything after the first `size` bytes; a size beyond the end changes nothing.
    void truncate(unsigned long size) noexcept {
        if (size < size_) {
            size_ = size;
        }
    }

private:
    UTIL_API bool grow(std::size_t count) noexcept;

    unsigned char* bytes_ = nullptr;
    unsigned long size_ = 0;
    unsigned long capacity_ = 0;
    unsigned long initialCapacity_;
};

}  // namespace util
