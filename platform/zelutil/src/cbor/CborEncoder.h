#pragma once

#include <cstdint>

#include "bytes/BigEndian.h"
#include "cbor/CborBytes.h"

// Functions that write heads of the binary format (RFC 8949).
namespace util::serializer {

/// Writes a head to `target`, where `MAX_HEAD` bytes are reserved, and returns its end. Inline,
/// because calling a function for each head would take a tenth of the time of writing a payload.
template <unsigned char KIND>
inline unsigned char* encodeHead(std::uint64_t argument, unsigned char* target) noexcept {
    if (argument <= MAX_SHORT) {
        *target = static_cast<unsigned char>(KIND + argument);
        return target + 1;
    }
    if (argument <= 0xFF) {
        target[0] = KIND + FIRST_LONG;
        target[1] = static_cast<unsigned char>(argument);
        return target + 2;
    }
    if (argument <= 0xFFFF) {
        target[0] = KIND + FIRST_LONG + 1;
        storeTwo(argument, target + 1);
        return target + 3;
    }
    if (argument <= 0xFFFFFFFF) {
        target[0] = KIND + FIRST_LONG + 2;
        storeFour(argument, target + 1);
        return target + 5;
    }
    target[0] = KIND + LAST_LONG;
    storeEight(argument, target + 1);
    return target + MAX_HEAD;
}

}  // namespace util::serializer
