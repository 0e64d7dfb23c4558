#pragma once

#include <vector>

#include "util/Export.h"

namespace util {

/// Reads a block of bytes from front to back.
///
/// One thread at a time. It never reads outside the block.
///
///     unsigned char const bytes[] = {1, 2, 3};
///     util::ByteBufferReader reader(bytes, sizeof bytes, false);
///     unsigned char first = 0;
///     const bool failed = reader.read(&first, 1);
class UTIL_API ByteBufferReader {
public:
    /// Reads `length` bytes at `bytes`. With `copy` false they are borrowed and must stay alive and
    /// unchanged while the reader is used; with true the reader makes a copy of its own. A null
    /// `bytes` is an empty block.
    ByteBufferReader(unsigned char const* bytes, unsigned long length, bool copy);
    ByteBufferReader(const ByteBufferReader&) = delete;
    ByteBufferReader& operator=(const ByteBufferReader&) = delete;

    /// @{
    /// The whole block and its length, whatever was read already.
    unsigned char const* data() const noexcept { return data_; }
    unsigned long size() const noexcept { return size_; }
    /// @}

    /// @{
    /// How far reading has come, and what is left.
    unsigned long position() const noexcept { return position_; }
    unsigned long remaining() const noexcept { return size_ - position_; }
    /// @}

    /// Copies the next `count` bytes to `destination` and steps over them. False on success; true,
    /// with nothing done, when fewer are left.
    [[nodiscard]] bool read(unsigned char* destination, unsigned long count) noexcept;
    /// Steps over `count` bytes; result as for `read`.
    [[nodiscard]] bool skip(unsigned long count) noexcept;

private:
    std::vector<unsigned char> copy_;
    unsigned char const* data_;
    unsigned long size_;
    unsigned long position_ = 0;
};

}  // namespace util
