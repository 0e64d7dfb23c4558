#include "RecordTree.h"

#include <iterator>
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

template <class Node>
constexpr std::uint8_t NODE_SIZE = static_cast<std::uint8_t>(config::NodeBlocks::sizeOf<Node>());

// The size of the node of an event, by its kind. Null and booleans are shared nodes.
constexpr std::uint8_t NODE_SIZES[] = {0,
                                       0,
                                       NODE_SIZE<config::ValueInt>,
                                       NODE_SIZE<config::ValueInt>,
                                       NODE_SIZE<config::ValueFloat>,
                                       NODE_SIZE<config::ValueFloat>,
                                       NODE_SIZE<config::ValueString>,
                                       NODE_SIZE<Array>,
                                       NODE_SIZE<Dictionary>,
                                       0};
static_assert(std::size(NODE_SIZES) == static_cast<std::size_t>(Event::Kind::Field) + 1);
static_assert(config::NodeBlocks::sizeOf<Dictionary>() <= 0xFF);

// Returns the total size of the nodes of the events, or a size that is larger than a block.
std::size_t totalSize(const Record& record, std::uint32_t next, std::uint32_t end) noexcept {
    std::size_t total = 0;
    for (; next != end && total <= config::NodeBlocks::SIZE; ++next) {
        total += NODE_SIZES[static_cast<std::size_t>(record.at(next).kind)];
    }
    return total;
}

}  // namespace

RecordTree::RecordTree(const Record& record, std::uint32_t next, std::uint32_t end) noexcept
    : record_(record), next_(next), end_(end), blocks_(totalSize(record, next, end)) {}

bool RecordTree::fill(Dictionary& root) noexcept {
    root.reserve(root.size() + countFields(next_, end_));
    return fillAll({nullptr, &root, nullptr, {}, next_, end_});
}

bool RecordTree::fill(Array& root) noexcept {
    return fillAll({nullptr, nullptr, &root, {}, next_, end_});
}

bool RecordTree::fillAll(Open root) noexcept {
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

// Reads the next element or field of the innermost container.
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

// Returns a new leaf or a shared node, or null if memory is exhausted.
Value* RecordTree::makeLeaf(const Event& event) {
    switch (event.kind) {
        case Event::Kind::Boolean:
            return Value::getBool(event.content.boolean);
        case Event::Kind::Int64:
            return blocks_.make<config::ValueInt>(event.content.int64);
        case Event::Kind::UInt64:
            return blocks_.make<config::ValueInt>(event.content.uint64);
        case Event::Kind::Float:
        case Event::Kind::Double:
            return blocks_.make<config::ValueFloat>(event.content.number);
        case Event::Kind::String:
            return blocks_.make<config::ValueString>(record_.textOf(event));
        default:
            return Value::getNull();
    }
}

// Continues with the content of an array or struct.
bool RecordTree::enter(std::uint32_t container) {
    const Event& event = record_.at(container);
    return event.kind == Event::Kind::Array ? enterArray(container + 1, event)
                                            : enterStruct(container + 1, event);
}

bool RecordTree::enterArray(std::uint32_t first, const Event& event) {
    auto* const array = blocks_.make<Array>();
    Owned owned(array);
    if (array == nullptr) {
        return true;
    }
    array->reserve(event.content.count);
    open_.push_back({std::move(owned), nullptr, array, {}, first, event.next});
    return false;
}

bool RecordTree::enterStruct(std::uint32_t first, const Event& event) {
    auto* const dictionary = blocks_.make<Dictionary>();
    Owned owned(dictionary);
    if (dictionary == nullptr) {
        return true;
    }
    dictionary->reserve(countFields(first, event.next));
    open_.push_back({std::move(owned), dictionary, nullptr, {}, first, event.next});
    return false;
}

bool RecordTree::add(Value* value) noexcept {
    const Open& open = open_.back();
    return open.dictionary != nullptr ? open.dictionary->add(open.name, value)
                                      : open.array->add(value);
}

// Ends the innermost container and adds it to its parent.
bool RecordTree::close() noexcept {
    Owned complete = std::move(open_.back().owned);
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
