#include "util/ByteBufferReader.h"

#include <cstring>

namespace util {

ByteBufferReader::ByteBufferReader(unsigned char const* bytes, unsigned long length, bool copy)
    : data_(bytes), size_(bytes == nullptr ? 0 : length) {
    if (copy && size_ != 0) {
        copy_.assign(bytes, bytes + size_);
        data_ = copy_.data();
    }
}

bool ByteBufferReader::read(unsigned char* destination, unsigned long count) noexcept {
    if (count > remaining()) {
        return true;
    }
    if (count != 0) {
        std::memcpy(destination, data_ + position_, count);
        position_ += count;
    }
    return false;
}

bool ByteBufferReader::skip(unsigned long count) noexcept {
    if (count > remaining()) {
        return true;
    }
    position_ += count;
    return false;
}

}  // namespace util
