#pragma once

#include <optional>
#include <string>
#include <utility>

#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "kova/kit/Enum.h"
#include "kova/kit/Export.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Limits.h"
#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"
#include "kova/kit/values/Chrono.h"
#include "kova/kit/values/Containers.h"
#include "kova/kit/values/Fast.h"
#include "kova/kit/values/Texts.h"
#include "kova/kit/values/Trees.h"
#include "kova/kit/values/Variant.h"

/// Conversions between values and payloads.
///
///     const std::vector<int> levels{3, 5, 8};
///     const kova::Payload payload = kova::kit::toPayload(levels).orThrow();
///     auto copy = kova::kit::fromPayload<std::vector<int>>(payload);
///     auto text = kova::kit::fromPayload<std::string>(payload);
///     text.error().message;  // "expected a string, found an array (byte 0)"
///
/// The types that payloads can contain:
///
/// - `bool`, integers of any width, `float`, `double`: a number. A number that does not fit is
///   rejected.
/// - `std::string`: a string. In JSON it must be UTF-8.
/// - A struct with `KOVA_FIELDS`: an object.
/// - An enumeration with `KOVA_ENUM`: the name of the enumerator.
/// - `std::vector`: an array. The binary format packs numbers.
/// - `std::array`: an array of exactly this length.
/// - `std::vector<std::uint8_t>`, `Blob`: bytes, as an array of numbers from 0 to 255. The binary
///   format packs them into one byte string.
/// - `std::map` with keys of type `std::string`: an object with any fields.
/// - `std::optional`: null or a value.
/// - `std::variant`: if the type of the alternative has `KOVA_FIELDS` or `KOVA_ENUM`, an object
///   with one entry that is named after the type. Other alternatives must have different kinds:
///   null (`std::monostate`), boolean, number, string, array or object.
/// - `std::chrono::duration`: the text of `dovglobals::Duration`, for whole seconds up to 31 days,
///   or a count (see `KOVA_FIELDS`).
/// - `std::chrono::system_clock::time_point`, and other time points of this clock: the text of
///   `dovglobals::DateTime` in UTC, with milliseconds, for the years 1 to 9999. A text with another
///   time zone can be read.
/// - The types of `kova/core/dovglobals`, `Path`, `url`, `zel::UUID`, `Number`: their text.
/// - `Tree`, `GenericObject`: a value tree.
/// - `Payload` within another value: any value, in the format of the outer payload.
///
/// A type may contain itself in a vector or map. The functions have no state; any thread may call
/// them. They throw `std::bad_alloc` if memory is exhausted. If the platform records a failure as
/// the thread's latest error, the function moves the reason into the result and clears the thread's
/// latest error.
namespace kova::kit {

namespace detail {

/// Reads a payload with the function `read(reader, out)`. Returns the reason if it fails.
KOVA_KIT_API std::optional<Error> readPayload(const Payload& payload, const Limits& limits,
                                              bool (*read)(Reader&, void*), void* out);

/// Writes a payload with the function `write(writer, value)`.
KOVA_KIT_API Result<Payload> writePayload(const std::string& mimeType, const Limits& limits,
                                          bool (*write)(Writer&, const void*), const void* value);

/// @{
/// The same functions for a value tree.
KOVA_KIT_API std::optional<Error> readTreeValue(const util::config::Value& tree,
                                                const Limits& limits, bool (*read)(Reader&, void*),
                                                void* out);
KOVA_KIT_API Result<Tree> writeTreeValue(const Limits& limits, bool (*write)(Writer&, const void*),
                                         const void* value);
/// @}

/// Reads a payload with the general reader.
template <typename T>
Result<T> readGeneral(const Payload& payload, const Limits& limits) {
    Result<T> result(std::in_place);
    if (auto error = readPayload(payload, limits, &readErased<Reader, T>, &*result)) {
        return *std::move(error);
    }
    return result;
}

}  // namespace detail

/// Returns the value as a payload of the mime type, JSON or binary. A `Payload` is returned
/// unchanged.
///
/// Fails with the code 500 if the format cannot represent the value. Examples are NaN, infinities
/// and text that is not UTF-8 in JSON, a nesting depth beyond the limit, and an enumerator without
/// a name. The other members of `Limits` apply only to reading. The message names the field, and
/// the byte of the payload at which writing stopped: "stations[1].height: expected a finite number,
/// found inf (byte 25)".
template <typename T>
Result<Payload> toPayload(const T& value, const std::string& mimeType = mimetypes::JSON_TYPE,
                          const Limits& limits = {}) {
    if constexpr (std::is_same_v<T, Payload>) {
        return value;
    } else {
#if KOVA_KIT_HAS_FAST_PATH
        Payload payload = detail::writeFast(mimeType, limits,
                                            &detail::writeErased<detail::FastWriter, T>, &value);
        if (!payload.isEmpty()) {
            return payload;
        }
#endif
        return detail::writePayload(mimeType, limits, &detail::writeErased<detail::Writer, T>,
                                    &value);
    }
}

/// Returns the value that a payload contains, in the format of its mime type.
///
/// Fails with the code 400 if the payload is malformed, is not a `T` or exceeds a limit. The
/// message states the field, the expected and the found value, and the byte of the payload:
/// "stations[2].name: expected a string, found 17 (byte 84)".
template <typename T>
Result<T> fromPayload(const Payload& payload, const Limits& limits = {}) {
    if constexpr (std::is_same_v<T, Payload>) {
        return payload;
    } else {
#if KOVA_KIT_HAS_FAST_PATH
        Result<T> result(std::in_place);
        if (detail::readFast(payload, limits, &detail::readErased<detail::FastReader, T>,
                             &*result)) {
            return result;
        }
#endif
        return detail::readGeneral<T>(payload, limits);
    }
}

/// Converts the value to a value tree. Fails with the code 500 for the same values for which
/// `toPayload` with the binary format fails.
template <typename T>
Result<Tree> toTree(const T& value, const Limits& limits = {}) {
    return detail::writeTreeValue(limits, &detail::writeErased<detail::Writer, T>, &value);
}

/// Returns the value that a value tree contains. Fails as `fromPayload` does, but the message
/// states no byte. The ranges of integers and floats are checked as for payloads.
template <typename T>
Result<T> fromTree(const util::config::Value& tree, const Limits& limits = {}) {
    T value{};
    if (auto error =
            detail::readTreeValue(tree, limits, &detail::readErased<detail::Reader, T>, &value)) {
        return *std::move(error);
    }
    return value;
}

}  // namespace kova::kit
