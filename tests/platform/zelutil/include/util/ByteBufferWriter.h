#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

namespace util {

/// A growing buffer of bytes.
class ByteBufferWriter {
public:
    explicit ByteBufferWriter(unsigned long initialCapacity) { bytes_.reserve(initialCapacity); }
    ByteBufferWriter(const ByteBufferWriter&) = delete;
    ByteBufferWriter& operator=(const ByteBufferWriter&) = delete;

    /// Returns the number of bytes written.
    unsigned long size() const { return bytes_.size(); }
    /// Copies the first `count` bytes to `destination`. `count` must not exceed `size`.
    void retrieve(unsigned char* destination, unsigned long count) const {
        std::copy_n(bytes_.begin(), count, destination);
    }
    /// Appends `count` bytes.
    bool append(void const* bytes, std::size_t count) {
        bytes_.append(static_cast<char const*>(bytes), count);
        return false;
    }

private:
    std::string bytes_;
};

}  // namespace util
