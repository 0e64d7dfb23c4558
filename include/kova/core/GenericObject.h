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

/// A dictionary that can be constructed from a list of keys and values, copied and moved.
///
/// It adds no data to `util::config::Dictionary`; `clone` returns a plain dictionary. Like every
/// container it owns its values, except the shared nodes for null, true and false. One thread may
/// change it, or many threads may read it.
///
///     const kova::GenericObject size{{"width", new util::config::ValueInt(640)},
///                                    {"unit", new util::config::ValueString("px")},
///                                    {"scaled", util::config::Value::getBool(false)}};
class KOVA_API GenericObject : public util::config::Dictionary {
public:
    /// Keys and values. The object takes ownership of each value whose key is not already present.
    using Pairs = std::initializer_list<std::pair<const std::string, util::config::Value*>>;

    GenericObject() noexcept = default;
    /// Constructs an empty object and appends the pairs.
    GenericObject(Pairs pairs);
    /// Constructs a deep copy, as by `copy`.
    GenericObject(const GenericObject& other);
    /// Replaces the content by a deep copy.
    GenericObject& operator=(const GenericObject& other);
    /// Moves the entries of `other` into this object; `other` is then empty.
    GenericObject(GenericObject&& other) noexcept;
    /// Replaces the content by the entries of `other`; `other` is then empty.
    GenericObject& operator=(GenericObject&& other) noexcept;
    /// Replaces the content by the pairs.
    GenericObject& operator=(Pairs pairs);
    ~GenericObject() override;

    /// Adds the pairs in order. Skips a pair whose key is already present: the existing entry is
    /// unchanged, and the caller still owns the value of the skipped pair. Null pointers are not
    /// added.
    GenericObject& append(Pairs pairs);
    /// Adds a copy of each entry of `other` whose key this object does not have. The value is a
    /// deep copy, except that null, true and false are the shared nodes. If memory is exhausted,
    /// some entries are missing.
    void copy(const GenericObject& other);
    /// Destroys all values except the shared nodes, and removes all entries.
    void clear() noexcept;
};

// The functions below are instantiated only for T = bool, int, long, float, double and std::string;
// any other T is a link error.

/// Reads one value by the rules of `util::config::Value::get`; a float is read as a double and
/// narrowed. Returns false on success. Returns true if the value is of another kind; `out` is then
/// unchanged.
template <typename T>
[[nodiscard]] KOVA_API bool fromGeneric(const util::config::Value& value, T& out);

/// Returns the value, or nothing on failure.
template <typename T>
[[nodiscard]] KOVA_API std::optional<T> fromGeneric(const util::config::Value& value);

/// Appends the elements of an array to `out`. Returns false on success. Returns true if the value
/// is not an array. Also returns true at the first element that cannot be read; the elements before
/// it are then in `out`.
template <typename T>
[[nodiscard]] KOVA_API bool fromGeneric(const util::config::Value& value, std::vector<T>& out);

/// Returns the elements of an array, or nothing if the value is not an array or an element cannot
/// be read.
template <typename T>
[[nodiscard]] KOVA_API std::optional<std::vector<T>> fromGenericArray(
    const util::config::Value& value);

/// Returns a new array with one node for each element; booleans are the shared nodes. The caller
/// owns the array. Returns null if memory is exhausted.
template <typename T>
[[nodiscard]] KOVA_API util::config::Array* toGeneric(const std::vector<T>& in);

}  // namespace kova
