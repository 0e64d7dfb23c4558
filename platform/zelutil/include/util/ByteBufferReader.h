#pragma once

#include <vector>

#include "util/Export.h"

namespace util {

/// Reads a block of bytes from front to back.
///
/// It never reads outside the block. Used by one thread at a time.
///
///     unsigned char const bytes[] = {1, 2, 3};
///     util::ByteBufferReader reader(bytes, sizeof bytes, false);
///     unsigned char first = 0;
///     const bool failed = reader.read(&first, 1);
class UTIL_API ByteBufferReader {
public:
    /// Creates a reader of the `length` bytes at `bytes`. If `copy` is true, the reader copies the
    /// bytes. If it is false, the bytes must stay alive and unchanged while the reader is used. If
    /// `bytes` is null, the block is empty. Throws `std::bad_alloc` if memory for the copy is
    /// exhausted.
    ByteBufferReader(unsigned char const* bytes, unsigned long length, bool copy);
    ByteBufferReader(const ByteBufferReader&) = delete;
    ByteBufferReader& operator=(const ByteBufferReader&) = delete;

    /// @{
    /// Returns the whole block and its length, independent of the position.
    unsigned char const* data() const noexcept { return data_; }
    unsigned long size() const noexcept { return size_; }
    /// @}

    /// @{
    /// Returns the number of bytes that were read or skipped (`position`) and the number of
    /// remaining bytes.
    unsigned long position() const noexcept { return position_; }
    unsigned long remaining() const noexcept { return size_ - position_; }
    /// @}

    /// Copies the next `count` bytes to `destination` and advances past them. Returns false on
    /// success. Returns true, without reading anything, if fewer than `count` bytes are left.
    [[nodiscard]] bool read(unsigned char* destination, unsigned long count) noexcept;
    /// Skips `count` bytes. Returns true, without skipping anything, if fewer are left.
    [[nodiscard]] bool skip(unsigned long count) noexcept;

private:
    std::vector<unsigned char> copy_;
    unsigned char const* data_;
    unsigned long size_;
    unsigned long position_ = 0;
};

}  // namespace util
