#pragma once

#include <cstddef>
#include <cstdint>

#include "serializer/BracketStack.h"
#include "serializer/Failure.h"

// The reasons why a serializer fails. They are stored in the thread's latest error.
namespace util::serializer {

/// The reasons why a format cannot represent a value.
enum class Refusal : std::uint8_t { None, NotFinite, NotUtf8, NotUnicode, NotEnumerator, TooDeep };

/// Stores the rejection of a value as `recordFailure` does. `value` is the rejected number.
void recordRefusal(bool& hasFailed, Refusal why, double value, const FieldPath& path,
                   std::size_t position) noexcept;

/// Returns the description of the calls that an open level accepts next.
char const* expectedWords(Bracket bracket, Item item, Expects expects) noexcept;

}  // namespace util::serializer
