#pragma once

#include <charconv>
#include <cstddef>
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

/// The data of an `ObservableList`.
template <typename T>
class ListSource final : public StreamSource {
public:
    using Elements = std::vector<Shared<T>>;
    using Update = CollectionUpdate<ListChange<Shared<T>>>;

    std::shared_ptr<Change> snapshot() const override {
        ListChange<Shared<T>> update;
        update.whole = elements;
        return detail::makeChange<Update>(std::move(update));
    }
    std::shared_ptr<Change> whole() const override {
        return makeChange<ValueChange<Elements>>(elements);
    }
    std::shared_ptr<Change> element(std::string_view path) const override {
        std::size_t index = 0;
        const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), index);
        return error == std::errc() && end == path.data() + path.size() && index < elements.size()
                   ? makeChange<ElementChange<T>>(elements[index])
                   : nullptr;
    }
    std::vector<Operation> operations(const Hub&) const override {
        return {{std::string(command::retrieve), "", nullptr, &schemaOf<std::vector<T>>, true},
                {std::string(command::retrieve), "{index:uint}", nullptr, &schemaOf<T>, false}};
    }
    bool isIncremental() const noexcept override { return true; }

    /// Guarded by the lock of the hub.
    Elements elements;
};

}  // namespace detail

/// A list that clients retrieve as a whole or by element at the path "{index}", or watch as a
/// stream of its changes (`Client::watch<ListChange<T>>`). `T` is a type of `Values.h` that can be
/// copied, but not an optional one.
///
/// The first value of a stream is the whole list (`ListChange`). Then each change follows in order;
/// no change is missed or repeated. By default the queue of each watcher has space for 16 changes.
/// A watcher that does not keep up gets the whole list again (`options`).
///
/// Any thread may call any function, also inside a receiver of the changes. Changes are queued.
/// `Observable` describes the threads that deliver the changes, and the wait in the destructor.
///
///     kova::kit::ObservableList<std::string> tracks;
///     tracks.append("Intro");
///     tracks.insert(0, "Overture");
///     const bool removed = tracks.remove(1);  // {"Overture"}
template <typename T>
class ObservableList final : public detail::Streaming {
public:
    /// Creates an empty list.
    ObservableList() : ObservableList(std::make_shared<Source>()) {}
    /// Creates a list with these elements.
    explicit ObservableList(std::vector<T> elements) : ObservableList() {
        assign(std::move(elements));
    }

    /// Appends an element.
    void append(T value) {
        detail::Shared<T> element = share(std::move(value));
        auto change = makeChange(ResourceUpdateType::ADDED, 0, element);
        detail::publishWith(hub(), change, [&] {
            change->update.index = source_->elements.size();
            source_->elements.push_back(element);
            return true;
        });
    }
    /// Inserts an element before the element at the index, or at the end. Returns false if the
    /// index is beyond the end.
    bool insert(std::size_t index, T value) {
        detail::Shared<T> element = share(std::move(value));
        auto change = makeChange(ResourceUpdateType::ADDED, index, element);
        return detail::publishWith(hub(), std::move(change), [&] {
            if (index > source_->elements.size()) {
                return false;
            }
            source_->elements.insert(at(index), element);
            return true;
        });
    }
    /// Replaces an element. Returns false if the list has no such index.
    bool set(std::size_t index, T value) {
        detail::Shared<T> element = share(std::move(value));
        auto change = makeChange(ResourceUpdateType::MODIFIED, index, element);
        return detail::publishWith(hub(), std::move(change), [&] {
            if (index >= source_->elements.size()) {
                return false;
            }
            at(index)->swap(element);
            return true;
        });
    }
    /// Removes an element. Returns false if the list has no such index.
    bool remove(std::size_t index) {
        detail::Shared<T> element;
        auto change = makeChange(ResourceUpdateType::REMOVED, index, {});
        return detail::publishWith(hub(), std::move(change), [&] {
            if (index >= source_->elements.size()) {
                return false;
            }
            at(index)->swap(element);
            source_->elements.erase(at(index));
            return true;
        });
    }
    /// Replaces the whole list.
    void assign(std::vector<T> values) {
        typename Source::Elements elements;
        elements.reserve(values.size());
        for (T& value : values) {
            elements.push_back(share(std::move(value)));
        }
        ListChange<detail::Shared<T>> update;
        update.whole = elements;
        auto change = detail::makeChange<Update>(std::move(update));
        detail::publishWith(hub(), std::move(change), [&] {
            source_->elements.swap(elements);
            return true;
        });
    }

    /// Returns a copy of the list.
    std::vector<T> get() const {
        typename Source::Elements elements;
        detail::readWith(hub(), [&] { elements = source_->elements; });
        std::vector<T> result;
        result.reserve(elements.size());
        for (const detail::Shared<T>& element : elements) {
            result.push_back(*element);
        }
        return result;
    }
    /// Returns a copy of the element, or `std::nullopt` if the list has no such index.
    std::optional<T> get(std::size_t index) const {
        detail::Shared<T> element;
        detail::readWith(hub(), [&] {
            if (index < source_->elements.size()) {
                element = source_->elements[index];
            }
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
    using Source = detail::ListSource<T>;
    using Update = typename Source::Update;

    explicit ObservableList(std::shared_ptr<Source> source)
        : Streaming(source, {16, Conflate}), source_(std::move(source)) {}

    static detail::Shared<T> share(T&& value) {
        return std::make_shared<const T>(std::move(value));
    }
    static std::shared_ptr<Update> makeChange(ResourceUpdateType kind, std::size_t index,
                                              const detail::Shared<T>& value) {
        ListChange<detail::Shared<T>> update;
        update.kind = kind;
        update.index = index;
        if (value) {
            update.value = value;
        }
        return detail::makeChange<Update>(std::move(update));
    }
    auto at(std::size_t index) const {
        return source_->elements.begin() + static_cast<std::ptrdiff_t>(index);
    }

    const std::shared_ptr<Source> source_;
};

}  // namespace kova::kit
