#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Export.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"
#include "util/config/Value.h"

namespace kova {

/// A dictionary of the value tree that can be written as a list of names and values, and copied and
/// moved.
///
/// It adds no data to `util::config::Dictionary`; a copy made by `clone` is a plain dictionary.
/// Like every container it owns its values, but not the shared nodes for null, true and false. One
/// thread at a time, or many that only read.
///
///     const kova::GenericObject size{{"width", new util::config::ValueInt(640)},
///                                    {"unit", new util::config::ValueString("px")},
///                                    {"scaled", util::config::Value::getBool(false)}};
class KOVA_API GenericObject : public util::config::Dictionary {
public:
    /// The value is taken over by the object unless its key is there already.
    using Pairs = std::initializer_list<std::pair<const std::string, util::config::Value*>>;

    GenericObject() noexcept = default;
    /// An empty object, then `append`.
    GenericObject(Pairs pairs);
    /// Deep copies, as `copy` makes them.
    GenericObject(const GenericObject& other);
    /// A deep copy in place of what was there.
    GenericObject& operator=(const GenericObject& other);
    /// Take the entries over; `other` is left empty.
    GenericObject(GenericObject&& other) noexcept;
    /// The same by assignment; what was there is destroyed.
    GenericObject& operator=(GenericObject&& other) noexcept;
    /// `clear`, then `append`.
    GenericObject& operator=(Pairs pairs);
    ~GenericObject() override;

    /// Adds the pairs in their order. One whose key is there already is skipped: the entry stays,
    /// and the value of the pair still belongs to the caller. Null pointers are not added.
    GenericObject& append(Pairs pairs);
    /// Adds a copy of each entry whose key is not there yet: a deep copy of the value, but the
    /// shared node of null, true or false. Where memory is exhausted, entries are left out.
    void copy(const GenericObject& other);
    /// Destroys all values except the shared nodes, and removes all entries.
    void clear() noexcept;
};

// The functions below are there for T = bool, int, long, float, double and std::string; another T
// does not link.

/// Reads one value with the rules of `util::config::Value::get`; a float is a double narrowed.
/// False on success; true when the value is of another kind, and then `out` is untouched.
template <typename T>
[[nodiscard]] KOVA_API bool fromGeneric(const util::config::Value& value, T& out);

/// The same with the value as the result, empty on failure.
template <typename T>
[[nodiscard]] KOVA_API std::optional<T> fromGeneric(const util::config::Value& value);

/// Appends the elements of an array to `out`. False on success; true when the value is no array, or
/// at the first element that cannot be read: the elements before it were appended.
template <typename T>
[[nodiscard]] KOVA_API bool fromGeneric(const util::config::Value& value, std::vector<T>& out);

/// The elements of an array; empty when the value is no array or an element cannot be read.
template <typename T>
[[nodiscard]] KOVA_API std::optional<std::vector<T>> fromGenericArray(
    const util::config::Value& value);

/// A new array of the elements, which the caller owns (or gives to a container): integers, floats,
/// strings, the shared nodes for booleans. Null when memory is exhausted.
template <typename T>
[[nodiscard]] KOVA_API util::config::Array* toGeneric(const std::vector<T>& in);

}  // namespace kova
