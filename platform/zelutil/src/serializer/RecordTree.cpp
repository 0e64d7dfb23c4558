#include "RecordTree.h"

#include <new>
#include <string>
#include <utility>

#include "util/config/Scalars.h"

namespace util::serializer {

namespace {

using config::Array;
using config::Dictionary;
using config::Value;

constexpr std::size_t COMMON_DEPTH = 8;

}  // namespace

bool RecordTree::fill(Dictionary& root, std::uint32_t next, std::uint32_t end) noexcept {
    root.reserve(root.size() + countFields(next, end));
    return fill({nullptr, &root, nullptr, {}, next, end});
}

bool RecordTree::fill(Array& root, std::uint32_t next, std::uint32_t end) noexcept {
    return fill({nullptr, nullptr, &root, {}, next, end});
}

bool RecordTree::fill(Open root) noexcept {
    try {
        open_.reserve(COMMON_DEPTH);
        open_.push_back(std::move(root));
        bool failed = false;
        while (!failed && !open_.empty()) {
            const Open& open = open_.back();
            failed = open.next == open.end ? close() : takeNext();
        }
        return failed;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// The next element or field of the container on top.
bool RecordTree::takeNext() {
    Open& open = open_.back();
    std::uint32_t value = open.next;
    if (open.dictionary != nullptr) {
        open.name = record_.textOf(record_.at(value));
        ++value;
    }
    const Event& event = record_.at(value);
    open.next = event.next;
    if (event.kind == Event::Kind::Array || event.kind == Event::Kind::Struct) {
        return enter(value);
    }
    return add(makeLeaf(event));
}

// A new leaf, or a shared node; null when memory is exhausted.
Value* RecordTree::makeLeaf(const Event& event) const {
    switch (event.kind) {
        case Event::Kind::Boolean:
            return Value::getBool(event.content.boolean);
        case Event::Kind::Int64:
            return new (std::nothrow) config::ValueInt(event.content.int64);
        case Event::Kind::UInt64:
            return new (std::nothrow) config::ValueInt(event.content.uint64);
        case Event::Kind::Float:
        case Event::Kind::Double:
            return new (std::nothrow) config::ValueFloat(event.content.number);
        case Event::Kind::String:
            return new (std::nothrow) config::ValueString(std::string(record_.textOf(event)));
        default:
            return Value::getNull();
    }
}

bool RecordTree::enter(std::uint32_t container) {
    const Event& event = record_.at(container);
    const std::uint32_t first = container + 1;
    if (event.kind == Event::Kind::Array) {
        auto array = std::make_unique<Array>();
        Array* const filled = array.get();
        filled->reserve(event.content.count);
        open_.push_back({std::move(array), nullptr, filled, {}, first, event.next});
        return false;
    }
    auto dictionary = std::make_unique<Dictionary>();
    Dictionary* const filled = dictionary.get();
    filled->reserve(countFields(first, event.next));
    open_.push_back({std::move(dictionary), filled, nullptr, {}, first, event.next});
    return false;
}

bool RecordTree::add(Value* value) noexcept {
    const Open& open = open_.back();
    return open.dictionary != nullptr ? open.dictionary->add(open.name, value)
                                      : open.array->add(value);
}

// Ends the container on top; its parent gets it.
bool RecordTree::close() noexcept {
    std::unique_ptr<Value> complete = std::move(open_.back().owned);
    open_.pop_back();
    return !open_.empty() && add(complete.release());
}

unsigned long RecordTree::countFields(std::uint32_t next, std::uint32_t end) const noexcept {
    unsigned long count = 0;
    for (; next != end; next = record_.at(next + 1).next) {
        ++count;
    }
    return count;
}

}  // namespace util::serializer
