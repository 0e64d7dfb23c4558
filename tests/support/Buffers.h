#pragma once

#include <string>

#include "util/ByteBufferWriter.h"

namespace kova::test {

/// Returns the bytes that the writer holds.
inline std::string bytesOf(const util::ByteBufferWriter& writer) {
    std::string bytes(writer.size(), '\0');
    writer.retrieve(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
    return bytes;
}

}  // namespace kova::test
