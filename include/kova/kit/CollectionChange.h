#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/ResourceUpdateTypeSerializer.h"
#include "kova/kit/Enum.h"
#include "kova/kit/Values.h"

namespace kova {
// The names in payloads are the same as those of `ResourceUpdateTypeSerializer`.
KOVA_ENUM(ResourceUpdateType, ADDED, MODIFIED, REMOVED)
}  // namespace kova

namespace kova::kit {

/// A value in the stream of an `ObservableList`: the whole list, or one change.
///
/// A plain value type. In payloads it is one of these objects:
///
///     {"whole": [VALUE, ...]}                                replaces the list
///     {"kind": "ADDED", "index": INDEX, "value": VALUE}      inserts in front of the index
///     {"kind": "MODIFIED", "index": INDEX, "value": VALUE}   replaces the element
///     {"kind": "REMOVED", "index": INDEX}                    removes the element
///
/// `applyTo` keeps a copy of the list up to date:
///
///     std::vector<int> copy;
///     kova::kit::ListChange<int> whole, change;
///     whole.whole = {3, 5, 8};
///     change.kind = kova::ResourceUpdateType::REMOVED;
///     change.index = 1;
///     const bool applied = whole.applyTo(copy) && change.applyTo(copy);  // {3, 8}
template <typename T>
struct ListChange {
    /// The kind of change. Empty if `whole` is set.
    std::optional<ResourceUpdateType> kind = {};
    /// The index of the element.
    std::optional<std::size_t> index = {};
    /// The element, unless it was removed.
    std::optional<T> value = {};
    /// The whole list. Set in the first value of a stream, and when the stream replaces changes by
    /// the list.
    std::optional<std::vector<T>> whole = {};

    /// Applies the change to the list. Returns false, and leaves the list unchanged, if the change
    /// does not fit the list: a member is missing, or the index is beyond the end.
    [[nodiscard]] bool applyTo(std::vector<T>& list) const {
        if (whole) {
            list = *whole;
            return true;
        }
        const bool removes = kind == ResourceUpdateType::REMOVED;
        const std::size_t count = list.size() + (kind == ResourceUpdateType::ADDED ? 1 : 0);
        if (!kind || !index || *index >= count || (!removes && !value)) {
            return false;
        }
        const auto at = std::next(list.begin(), static_cast<std::ptrdiff_t>(*index));
        if (removes) {
            list.erase(at);
        } else if (kind == ResourceUpdateType::ADDED) {
            list.insert(at, *value);
        } else {
            *at = *value;
        }
        return true;
    }

    /// Describes the fields of the payload.
    friend constexpr auto kovaFields(ListChange*) {
        return fields(named("ListChange"), field("kind", &ListChange::kind),
                      field("index", &ListChange::index), field("value", &ListChange::value),
                      field("whole", &ListChange::whole));
    }
};

/// A value in the stream of an `ObservableMap`: the whole map, or one change.
///
/// A plain value type. In payloads it is one of these objects:
///
///     {"whole": {KEY: VALUE, ...}}                           replaces the map
///     {"kind": "ADDED", "key": KEY, "value": VALUE}          adds the element
///     {"kind": "MODIFIED", "key": KEY, "value": VALUE}       replaces the element
///     {"kind": "REMOVED", "key": KEY}                        removes the element
///
/// `applyTo` keeps a copy of the map up to date.
template <typename T>
struct MapChange {
    /// The kind of change. Empty if `whole` is set.
    std::optional<ResourceUpdateType> kind = {};
    /// The key of the element.
    std::optional<std::string> key = {};
    /// The element, unless it was removed.
    std::optional<T> value = {};
    /// The whole map.
    std::optional<std::map<std::string, T>> whole = {};

    /// Applies the change to the map. Returns false and leaves the map unchanged if the change does
    /// not fit: if a member is missing, if the map already contains the key of an added element, or
    /// if it does not contain the key of a modified or removed element.
    [[nodiscard]] bool applyTo(std::map<std::string, T>& map) const {
        if (whole) {
            map = *whole;
            return true;
        }
        if (!kind || !key || (kind != ResourceUpdateType::REMOVED && !value)) {
            return false;
        }
        const bool isThere = map.find(*key) != map.end();
        if (isThere == (kind == ResourceUpdateType::ADDED)) {
            return false;
        }
        if (kind == ResourceUpdateType::REMOVED) {
            map.erase(*key);
        } else {
            map.insert_or_assign(*key, *value);
        }
        return true;
    }

    /// Describes the fields of the payload.
    friend constexpr auto kovaFields(MapChange*) {
        return fields(named("MapChange"), field("kind", &MapChange::kind),
                      field("key", &MapChange::key), field("value", &MapChange::value),
                      field("whole", &MapChange::whole));
    }
};

}  // namespace kova::kit
