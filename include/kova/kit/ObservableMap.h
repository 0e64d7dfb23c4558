#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kova/kit/CollectionChange.h"
#include "kova/kit/Command.h"
#include "kova/kit/Schema.h"
#include "kova/kit/resources/Collections.h"
#include "kova/kit/resources/Streaming.h"

namespace kova::kit {

namespace detail {

/// The data of an `ObservableMap`.
template <typename T>
class MapSource final : public StreamSource {
public:
    using Elements = std::map<std::string, Shared<T>>;
    using Update = CollectionUpdate<MapChange<Shared<T>>>;

    std::shared_ptr<Change> snapshot() const override {
        MapChange<Shared<T>> update;
        update.whole = elements;
        return detail::makeChange<Update>(std::move(update));
    }
    std::shared_ptr<Change> whole() const override {
        return makeChange<ValueChange<Elements>>(elements);
    }
    std::shared_ptr<Change> element(std::string_view path) const override {
        const auto found = elements.find(std::string(path));
        return found != elements.end() ? makeChange<ElementChange<T>>(found->second) : nullptr;
    }
    std::vector<Operation> operations(const Hub&) const override {
        using Map = std::map<std::string, T>;
        return {{std::string(command::retrieve), "", nullptr, &schemaOf<Map>, true},
                {std::string(command::retrieve), "{key}", nullptr, &schemaOf<T>, false}};
    }
    bool isIncremental() const noexcept override { return true; }

    /// Guarded by the lock of the hub.
    Elements elements;
};

}  // namespace detail

/// A map that clients retrieve as a whole or by element at the path "{key}", or watch as a stream
/// of its changes (`Client::watch<MapChange<T>>`). `T` is a type of `Values.h` that can be copied,
/// but not an optional one. A key may be any text, but a client can retrieve an element only if its
/// key is one or more segments of a path.
///
/// The first value of a stream is the whole map (`MapChange`). Then each change follows in order;
/// no change is missed or repeated. By default the queue of each watcher has space for 16 changes.
/// A watcher that does not keep up gets the whole map again (`options`).
///
/// Any thread may call any function, also inside a receiver of the changes. Changes are queued.
/// `Observable` describes the threads that deliver the changes, and the wait in the destructor.
///
///     kova::kit::ObservableMap<int> levels;
///     levels.set("kitchen", 30);  // added
///     levels.set("kitchen", 35);  // modified
///     const bool removed = levels.remove("kitchen");
template <typename T>
class ObservableMap final : public detail::Streaming {
public:
    /// Creates an empty map.
    ObservableMap() : ObservableMap(std::make_shared<Source>()) {}
    /// Creates a map with these elements.
    explicit ObservableMap(std::map<std::string, T> elements) : ObservableMap() {
        assign(std::move(elements));
    }

    /// Adds or replaces an element.
    void set(const std::string& key, T value) {
        MapChange<detail::Shared<T>> update;
        update.key = key;
        update.value = share(std::move(value));
        typename Source::Elements fresh{{key, *update.value}};
        auto change = detail::makeChange<Update>(std::move(update));
        detail::publishWith(hub(), change, [&] {
            const auto found = source_->elements.find(key);
            const bool isThere = found != source_->elements.end();
            change->update.kind =
                isThere ? ResourceUpdateType::MODIFIED : ResourceUpdateType::ADDED;
            if (isThere) {
                found->second.swap(fresh.begin()->second);
            } else {
                source_->elements.merge(fresh);
            }
            return true;
        });
    }
    /// Removes an element. Returns false if the map has no such key.
    bool remove(const std::string& key) {
        MapChange<detail::Shared<T>> update;
        update.kind = ResourceUpdateType::REMOVED;
        update.key = key;
        auto change = detail::makeChange<Update>(std::move(update));
        typename Source::Elements::node_type removed;
        return detail::publishWith(hub(), std::move(change), [&] {
            removed = source_->elements.extract(key);
            return !removed.empty();
        });
    }
    /// Replaces the whole map.
    void assign(std::map<std::string, T> values) {
        typename Source::Elements elements;
        for (auto& [key, value] : values) {
            elements.emplace_hint(elements.end(), key, share(std::move(value)));
        }
        MapChange<detail::Shared<T>> update;
        update.whole = elements;
        auto change = detail::makeChange<Update>(std::move(update));
        detail::publishWith(hub(), std::move(change), [&] {
            source_->elements.swap(elements);
            return true;
        });
    }

    /// Returns a copy of the map.
    std::map<std::string, T> get() const {
        typename Source::Elements elements;
        detail::readWith(hub(), [&] { elements = source_->elements; });
        std::map<std::string, T> result;
        for (const auto& [key, element] : elements) {
            result.emplace_hint(result.end(), key, *element);
        }
        return result;
    }
    /// Returns a copy of the element, or `std::nullopt` if the map has no such key.
    std::optional<T> get(const std::string& key) const {
        detail::Shared<T> element;
        detail::readWith(hub(), [&] {
            const auto found = source_->elements.find(key);
            element = found != source_->elements.end() ? found->second : nullptr;
        });
        return element ? std::optional<T>(*element) : std::nullopt;
    }
    /// Returns the number of elements.
    std::size_t size() const {
        std::size_t count = 0;
        detail::readWith(hub(), [&] { count = source_->elements.size(); });
        return count;
    }

private:
    using Source = detail::MapSource<T>;
    using Update = typename Source::Update;

    explicit ObservableMap(std::shared_ptr<Source> source)
        : Streaming(source, {16, Conflate}), source_(std::move(source)) {}

    static detail::Shared<T> share(T&& value) {
        return std::make_shared<const T>(std::move(value));
    }

    const std::shared_ptr<Source> source_;
};

}  // namespace kova::kit
