#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kova::bench {

/// A simple tree of std::map and std::vector, for parsers that do not have a tree.
struct MapTree {
    using Object = std::map<std::string, MapTree>;
    using Array = std::vector<MapTree>;

    std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object> value;
};

/// Builds a tree from the events of a parser.
class MapTreeBuilder {
public:
    explicit MapTreeBuilder(MapTree& root) : root_(root) {}

    template <typename Scalar>
    bool scalar(Scalar&& value) {
        place().value = std::forward<Scalar>(value);
        return true;
    }
    bool beginObject() { return open(MapTree::Object()); }
    bool beginArray() { return open(MapTree::Array()); }
    bool key(std::string_view key) {
        key_ = key;
        return true;
    }
    bool end() {
        open_.pop_back();
        return true;
    }
    bool inObject() const {
        return !open_.empty() && std::holds_alternative<MapTree::Object>(open_.back()->value);
    }

private:
    template <typename Container>
    bool open(Container empty) {
        MapTree& node = place();
        node.value = std::move(empty);
        open_.push_back(&node);
        return true;
    }
    MapTree& place() {
        if (open_.empty()) {
            return root_;
        }
        auto& container = open_.back()->value;
        if (auto* const object = std::get_if<MapTree::Object>(&container)) {
            return (*object)[key_];
        }
        return std::get<MapTree::Array>(container).emplace_back();
    }

    MapTree& root_;
    std::vector<MapTree*> open_;
    std::string key_;
};

}  // namespace kova::bench
