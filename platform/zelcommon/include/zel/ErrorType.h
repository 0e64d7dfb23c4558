#pragma once

#include <cstddef>

#include "zel/Export.h"

namespace zel {

/// One row of an error catalogue.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): order fixed by the interface
struct ErrorID {
    /// Number of the error, equal to its index in the catalogue.
    int number;
    /// The message: a printf-style format with "%s" (text) and "%p" (address) fields.
    char const* format;
    /// Number of arguments of the message.
    unsigned int arguments;
};

/// A named catalogue of numbered errors. Its rows are in a constant table.
///
/// A catalogue is not itself an error. `ErrorOutput` reports an error: one number of one catalogue,
/// together with the arguments of its message. A catalogue is immutable, so any thread may read it.
class ZEL_API ErrorType {
public:
    /// Constructs a catalogue. The name and the table are not copied and must outlive the
    /// catalogue.
    template <std::size_t N>
    constexpr ErrorType(char const* name, const ErrorID (&table)[N]) noexcept
        : name_(name), table_(table), size_(N) {}

    /// Returns the name of the catalogue as it appears in reports.
    constexpr char const* name() const noexcept { return name_; }
    /// Returns the number of rows.
    constexpr std::size_t size() const noexcept { return size_; }
    /// Returns the row of `number`, or null if the catalogue does not have that number.
    constexpr ErrorID const* find(int number) const noexcept {
        return number >= 0 && static_cast<std::size_t>(number) < size_ ? table_ + number : nullptr;
    }

private:
    char const* name_;
    ErrorID const* table_;
    std::size_t size_;
};

}  // namespace zel
