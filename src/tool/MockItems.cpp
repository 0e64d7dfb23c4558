#include "MockItems.h"

#include <utility>

#include "JsonNode.h"
#include "kova/core/Errors.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Answer.h"
#include "kova/kit/Command.h"
#include "kova/kit/Values.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace kova::tool {

namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using Target = MockItems::Target;
using Change = MockItems::Change;

kit::Error missing(const Target& target) {
    return kit::catalogued(errors::PathNotFound, target.path);
}

kit::Error conflict(const std::string& reason) {
    return {statuscodes::CONFLICT, reason};
}

kit::Tree treeOf(const Payload& json) {
    kit::Limits limits;
    limits.elements = MockItems::MOST_BYTES;
    limits.textBytes = MockItems::MOST_BYTES;
    if (json.isEmpty()) {
        return nullptr;
    }
    return kit::fromPayload<kit::Tree>(json, limits).orThrow();
}

Payload jsonOf(const Value& value) {
    return Payload::createFromJSON(value.toJson(true));
}

// Returns the part with the name or index, or null.
Value const* partOf(const Value& value, const std::string& name) {
    if (value.isArray()) {
        const auto index = indexOf(name);
        return index && *index < value.arraySize() ? &value[*index] : nullptr;
    }
    return value.hasKey(name) ? &value[name] : nullptr;
}

// Follows the first `count` names of the tail. Returns null if there is no such part.
Value const* partOf(Value const* value, const Target& target, std::size_t count) {
    for (std::size_t i = 0; i < count && value != nullptr; ++i) {
        value = partOf(*value, target.tail[i]);
    }
    return value;
}

// Returns false if the array has no such index.
bool changeElement(Array& array, const std::string& name, Change change, kit::Tree body) {
    const std::size_t size = array.arraySize();
    const std::size_t index = name == "-" ? size : indexOf(name).value_or(size + 1);
    if (change == Change::remove) {
        return !array.remove(index, true);
    }
    return change == Change::put && index < size ? !array.set(index, body.release())
                                                 : !array.insert(index, body.release());
}

kit::Result<void> changeMember(Dictionary& object, const Target& target, Change change,
                               kit::Tree body) {
    const std::string& name = target.tail.back();
    if (change == Change::insert && object.hasKey(name)) {
        return conflict("there is something at '" + target.path + "'");
    }
    const bool failed =
        change == Change::remove ? object.remove(name, true) : object.set(name, body.release());
    if (failed) {
        return missing(target);
    }
    return {};
}

kit::Result<void> changePart(Value const* whole, const Target& target, Change change,
                             kit::Tree body) {
    Value const* const parent = partOf(whole, target, target.tail.size() - 1);
    if (parent == nullptr) {
        return missing(target);
    }
    if (Array* const array = parent->getEditableArray()) {
        if (changeElement(*array, target.tail.back(), change, std::move(body))) {
            return {};
        }
        return missing(target);
    }
    Dictionary* const object = parent->getEditableDictionary();
    if (object != nullptr) {
        return changeMember(*object, target, change, std::move(body));
    }
    return conflict("the value above '" + target.path + "' is neither an object nor an array");
}

kit::Result<void> changeWhole(kit::Tree& whole, const Target& target, Change change,
                              kit::Tree body) {
    if (change == Change::remove && !whole) {
        return missing(target);
    }
    Array* const array = whole ? whole->getEditableArray() : nullptr;
    if (change == Change::insert && array != nullptr) {
        array->add(body.release());
    } else if (change != Change::insert || !whole) {
        whole = std::move(body);  // null to remove the value
    }
    return {};
}

MockMethod const* retrievalOf(const Target& target) {
    const auto found = target.owner->methods.find(kit::command::retrieve);
    return found == target.owner->methods.end() ? nullptr : &found->second;
}

}  // namespace

// Returns the value as JSON; empty if it does not exist.
Payload MockItems::current(const Target& target) const {
    const auto item = items_.find(target.key);
    if (item != items_.end()) {
        return item->second.json;
    }
    MockMethod const* const retrieval = retrievalOf(target);
    return retrieval == nullptr ? Payload() : retrieval->first;
}

kit::Result<Payload> MockItems::read(const Target& target) const {
    Payload json;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        json = current(target);
    }
    const kit::Tree whole = target.tail.empty() ? nullptr : treeOf(json);
    if (whole) {
        Value const* const part = partOf(whole.get(), target, target.tail.size());
        json = part == nullptr ? Payload() : jsonOf(*part);
    }
    if (json.isEmpty()) {
        return missing(target);
    }
    return json;
}

kit::Result<void> MockItems::change(const Target& target, Change change, kit::Tree body) {
    std::shared_ptr<MockStream> ended;  // destroyed without the lock
    const std::lock_guard<std::mutex> guard(mutex_);
    kit::Tree whole = treeOf(current(target));
    const bool isPart = !target.tail.empty();
    kit::Result<void> result;
    if (isPart) {
        result = changePart(whole.get(), target, change, std::move(body));
    } else {
        result = changeWhole(whole, target, change, std::move(body));
    }
    if (result && whole && (isPart || change == Change::insert)) {
        result = checkWhole(target, *whole);
    }
    if (result) {
        result = store(target.key, whole ? jsonOf(*whole) : Payload());
    }
    if (result && !whole) {
        ended = std::move(items_[target.key].stream);
    }
    return result;
}

kit::Result<void> MockItems::checkWhole(const Target& target, const Value& value) const {
    MockMethod const* const retrieval = retrievalOf(target);
    if (retrieval == nullptr || retrieval->value == nullptr) {
        return {};
    }
    const auto result = rules_.check(*retrieval->value, value);
    if (result) {
        return {};
    }
    return conflict(result.error().message);
}

// The lock of the caller keeps the changes in order. `Observable::set` only queues the value: it
// calls no function of a client.
kit::Result<void> MockItems::store(const std::string& key, const Payload& json) {
    const auto known = items_.find(key);
    const bool isNew = known == items_.end();
    const std::size_t former = isNew ? 0 : static_cast<std::size_t>(known->second.json.size());
    const std::size_t bytes = bytes_ - former + static_cast<std::size_t>(json.size());
    if (bytes > MOST_BYTES || (isNew && items_.size() == MOST_ITEMS)) {
        return kit::Error{statuscodes::SERVICE_UNAVAILABLE,
                          "the mock stores at most " + std::to_string(MOST_ITEMS) +
                              " values with " + std::to_string(MOST_BYTES) + " bytes"};
    }
    Item& item = items_[key];
    bytes_ = bytes;
    item.json = json;
    if (item.stream && !json.isEmpty()) {
        item.stream->values.set(std::optional<Payload>(json));
    }
    return {};
}

kit::Result<std::shared_ptr<MockStream>> MockItems::watch(const Target& target) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const Payload json = current(target);
    if (json.isEmpty()) {
        return missing(target);
    }
    const bool isKnown = items_.count(target.key) != 0;
    if (const auto stored = isKnown ? kit::Result<void>() : store(target.key, json); !stored) {
        return stored.error();
    }
    Item& item = items_[target.key];
    if (!item.stream) {
        item.stream = std::make_shared<MockStream>(json);
    }
    return item.stream;
}

void MockItems::repeat() {
    const std::lock_guard<std::mutex> guard(mutex_);
    for (const auto& item : items_) {
        if (item.second.stream) {
            item.second.stream->values.set(std::optional<Payload>(item.second.json));
        }
    }
}

std::vector<std::shared_ptr<MockStream>> MockItems::streams() const {
    std::vector<std::shared_ptr<MockStream>> result;
    const std::lock_guard<std::mutex> guard(mutex_);
    for (const auto& item : items_) {
        if (item.second.stream) {
            result.push_back(item.second.stream);
        }
    }
    return result;
}

}  // namespace kova::tool
