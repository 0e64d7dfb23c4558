#pragma once

#include <vector>

namespace util {

/// A block of bytes to read. If `copy` is false, the bytes are borrowed.
class ByteBufferReader {
public:
    ByteBufferReader(unsigned char const* bytes, unsigned long length, bool copy) {
        if (copy) {
            copy_.assign(bytes, bytes + length);
            bytes = copy_.data();
        }
        bytes_ = bytes;
        length_ = length;
    }
    ByteBufferReader(const ByteBufferReader&) = delete;
    ByteBufferReader& operator=(const ByteBufferReader&) = delete;

    /// @{
    /// For the deserializers of this platform.
    unsigned char const* bytes() const { return bytes_; }
    unsigned long length() const { return length_; }
    /// @}

private:
    std::vector<unsigned char> copy_;
    unsigned char const* bytes_ = nullptr;
    unsigned long length_ = 0;
};

}  // namespace util
