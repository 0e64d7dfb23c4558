#pragma once

#include <cstddef>

#include "zel/Export.h"

namespace zel {

/// One row of an error catalogue.
struct ErrorID {
    /// The error's number; equal to its index in the catalogue.
    int number;
    /// The message, a printf-style format of "%s" (text) and "%p" (address) fields.
    char const* format;
    /// How many arguments the format takes.
    unsigned int arguments;
};

/// A named catalogue of numbered errors over a constant table.
///
/// It is not an error: an error is one number of one catalogue with its arguments (`ErrorOutput`).
/// Immutable, so any thread may read it. The table must outlive it.
class ZEL_API ErrorType {
public:
    /// Takes the name and the table, both of which must outlive the catalogue.
    template <std::size_t N>
    constexpr ErrorType(char const* name, const ErrorID (&table)[N]) noexcept
        : name_(name), table_(table), size_(N) {}

    /// The catalogue's name, for reports.
    constexpr char const* name() const noexcept { return name_; }
    /// The number of rows.
    constexpr std::size_t size() const noexcept { return size_; }
    /// The row of `number`, or null when the catalogue does not have it.
    constexpr ErrorID const* find(int number) const noexcept {
        return number >= 0 && static_cast<std::size_t>(number) < size_ ? table_ + number : nullptr;
    }

private:
    char const* name_;
    ErrorID const* table_;
    std::size_t size_;
};

}  // namespace zel
