#pragma once

#include "util/Export.h"
#include "zel/ErrorType.h"

namespace util::serializer {

/// The catalogue of the reasons why a payload could not be written or read. Its name is
/// "util::serializer::PayloadError".
///
/// The serializers and deserializers of this library store the first failure of a payload as the
/// calling thread's latest error (`zel::ErrorStorage`). They do not report it: the sink is not
/// called. The reason states the expected and the found value, the field, and the position of the
/// byte in the payload, counted from 0: "stations[2].name: expected a string, found 17 (byte 84)".
///
/// Later failures do not replace the first one until the next `beginSerialize` or
/// `beginDeserialize` of the object. The text of the reason is composed when it is read for the
/// first time. For this purpose the thread keeps a malformed JSON text of up to 16 MiB until the
/// reason is read, or until its next error. A longer JSON text is not kept. The reason then states
/// only the kind of mistake, not the field and the byte, because finding them would need a second
/// pass over the text.
UTIL_API extern const zel::ErrorType PayloadError;

/// The numbers of the catalogue.
enum PayloadErrorNumber : int {
    MalformedPayload = 0,  ///< the bytes are not a payload of the format
    UnexpectedValue = 1,   ///< a value, field or end is not the requested one, or out of range
    CallOutOfPlace = 2,    ///< the call is not allowed here, for example before `beginSerialize`
    ValueNotWritable = 3,  ///< the format cannot represent the value
    NestingTooDeep = 4,    ///< arrays and structs are nested too deeply
    MemoryExhausted = 5    ///< memory is exhausted
};

}  // namespace util::serializer
