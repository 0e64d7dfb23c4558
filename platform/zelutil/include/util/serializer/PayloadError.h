#pragma once

#include "util/Export.h"
#include "zel/ErrorType.h"

namespace util::serializer {

/// The catalogue of reasons why a payload could not be written or read, named
/// "util::serializer::PayloadError".
///
/// The serializers and deserializers of this library keep the first failure of a payload as the
/// calling thread's latest error (`zel::ErrorStorage`). They do not report it: the sink is not
/// called. Its reason says what was expected and found, in which field, and at which byte of the
/// payload, counted from 0: "stations[2].name: expected a string, found 17 (byte 84)".
/// Later failures do not replace it up to the next `beginSerialize` or `beginDeserialize` of the
/// object. The text is made when the reason is read for the first time; for JSON text that is
/// malformed, the text is kept for that.
UTIL_API extern const zel::ErrorType PayloadError;

/// The numbers of the catalogue.
enum PayloadErrorNumber : int {
    MalformedPayload = 0,  ///< the bytes are not a payload of the format
    UnexpectedValue = 1,   ///< a value, field or end is not the one asked for, or out of range
    CallOutOfPlace = 2,    ///< the call is not allowed here: nothing was begun, or it was ended
    ValueNotWritable = 3,  ///< the format has no form for the value
    NestingTooDeep = 4,    ///< more levels of arrays and structs than are accepted
    MemoryExhausted = 5    ///< memory is exhausted
};

}  // namespace util::serializer
