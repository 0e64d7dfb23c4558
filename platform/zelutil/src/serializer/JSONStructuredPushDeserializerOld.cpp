#include "util/serializer/JSONStructuredPushDeserializerOld.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "Failure.h"
#include "JsonDetection.h"
#include "JsonScan.h"
#include "util/Limits.h"

// simdjson parses the text into a document and validates syntax, UTF-8 and numbers. The document is
// then traversed with a stack of fixed size.
namespace util::serializer {

namespace {

namespace dom = simdjson::dom;

const json::ProcessorDetection DETECTION;

constexpr char const* FILE_NAME =
    "platform/zelutil/src/serializer/JSONStructuredPushDeserializerOld";

// A replay of a document. The functions return true on failure.
class Replay {
public:
    Replay(unsigned int limit, IStructuredSerializer& target) noexcept
        : limit_(limit), target_(target) {}

    bool run(const dom::element& root) {
        bool failed = value(root);
        while (!failed && depth_ > 0) {
            failed = step(levels_[depth_ - 1]);
        }
        return failed;
    }
    /// Returns whether the nesting limit, not the target, was the reason of a failure.
    bool isTooDeep() const noexcept { return isTooDeep_; }

private:
    struct Level {
        bool isObject;
        dom::array::iterator element;
        dom::array::iterator elementsEnd;
        dom::object::iterator field;
        dom::object::iterator fieldsEnd;
    };

    bool value(const dom::element& value);
    bool openArray(const dom::array& array);
    bool openObject(const dom::object& object);
    bool step(Level& level);
    bool stepElement(Level& level);
    bool stepField(Level& level);
    bool close(const Level& level);
    bool endItem();

    std::size_t limit_;
    IStructuredSerializer& target_;
    std::size_t depth_ = 0;
    bool isTooDeep_ = false;
    std::array<Level, MAX_NESTING_DEPTH> levels_;
};

// Replays a scalar completely, and the beginning of an array or object.
bool Replay::value(const dom::element& value) {
    switch (value.type()) {
        case dom::element_type::ARRAY:
            return openArray(value.get_array().value_unsafe());
        case dom::element_type::OBJECT:
            return openObject(value.get_object().value_unsafe());
        case dom::element_type::INT64:
            return target_.serializeInt64(value.get_int64().value_unsafe()) || endItem();
        case dom::element_type::UINT64:
            return target_.serializeUInt64(value.get_uint64().value_unsafe()) || endItem();
        case dom::element_type::DOUBLE:
            return target_.serializeDouble(value.get_double().value_unsafe()) || endItem();
        case dom::element_type::STRING:
            return target_.serializeString(value.get_string().value_unsafe()) || endItem();
        case dom::element_type::BOOL:
            return target_.serializeBoolean(value.get_bool().value_unsafe()) || endItem();
        case dom::element_type::NULL_VALUE:
            break;
    }
    return target_.serializeNull() || endItem();
}

bool Replay::openArray(const dom::array& array) {
    if (depth_ == limit_) {
        isTooDeep_ = true;
        return true;
    }
    Level& level = levels_[depth_++];
    level.isObject = false;
    level.element = array.begin();
    level.elementsEnd = array.end();
    return target_.beginArray();
}

bool Replay::openObject(const dom::object& object) {
    if (depth_ == limit_) {
        isTooDeep_ = true;
        return true;
    }
    Level& level = levels_[depth_++];
    level.isObject = true;
    level.field = object.begin();
    level.fieldsEnd = object.end();
    return target_.beginStruct(nullptr);
}

bool Replay::step(Level& level) {
    return level.isObject ? stepField(level) : stepElement(level);
}

bool Replay::stepElement(Level& level) {
    if (!(level.element != level.elementsEnd)) {
        return close(level);
    }
    const dom::element element = *level.element;
    ++level.element;
    return target_.beginElement() || value(element);
}

bool Replay::stepField(Level& level) {
    if (!(level.field != level.fieldsEnd)) {
        return close(level);
    }
    const dom::key_value_pair field = *level.field;
    ++level.field;
    return target_.beginField(field.key, -1, false) || value(field.value);
}

bool Replay::close(const Level& level) {
    --depth_;
    return (level.isObject ? target_.endStruct() : target_.endArray()) || endItem();
}

bool Replay::endItem() {
    if (depth_ == 0) {
        return false;
    }
    return levels_[depth_ - 1].isObject ? target_.endField() : target_.endElement();
}

PayloadErrorNumber numberOf(simdjson::error_code error) noexcept {
    switch (error) {
        case simdjson::MEMALLOC:
            return MemoryExhausted;
        case simdjson::DEPTH_ERROR:
            return NestingTooDeep;
        default:
            return MalformedPayload;
    }
}

}  // namespace

struct JSONStructuredPushDeserializerOld::State {
    bool parse(std::string_view payload, dom::element& root) {
        const auto error = copy(payload)
                               ? simdjson::MEMALLOC
                               : parser.parse(text.get(), payload.size(), false).get(root);
        if (error == simdjson::SUCCESS) {
            return false;
        }
        if (error == simdjson::MEMALLOC) {
            // After MEMALLOC the parser wrongly assumes that its buffers have full size, so start
            // over with a new one.
            parser = dom::parser();
            recordNoMemory(hasFailed);
        } else {
            recordMistake(payload.size(), numberOf(error), simdjson::error_message(error));
        }
        return true;
    }

    // Copies the text, because the parser reads past its end. Returns true if memory is exhausted.
    bool copy(std::string_view payload) noexcept {
        if (text == nullptr || capacity < payload.size()) {
            text.reset(new (std::nothrow) char[payload.size() + simdjson::SIMDJSON_PADDING]);
            capacity = text == nullptr ? 0 : payload.size();
        }
        if (text == nullptr) {
            return true;
        }
        std::copy(payload.begin(), payload.end(), text.get());
        std::fill_n(text.get() + payload.size(), simdjson::SIMDJSON_PADDING, '\0');
        return false;
    }

    // Stores the failure with the copy of the text, in which the mistake is located when the
    // message is read.
    void recordMistake(std::size_t size, PayloadErrorNumber number, char const* reason) noexcept {
        if (hasFailed) {
            return;
        }
        if (capacity > JsonFailure::MAX_KEPT) {
            locateMistake({text.get(), size}, number, reason);
            return;
        }
        hasFailed = true;
        zel::ErrorStorage::current().record<JsonFailure>(PayloadError, number, FILE_NAME, __LINE__,
                                                         text, size, std::size_t{limit}, reason);
    }

    // Locates the mistake at once, because the buffer of the text is too large to be kept.
    void locateMistake(std::string_view payload, PayloadErrorNumber number,
                       char const* reason) noexcept {
        const std::unique_ptr<JsonScan> scan(new (std::nothrow) JsonScan(payload, limit));
        if (scan != nullptr && scan->findMistake()) {
            recordFailure(hasFailed, number, scan->expected(), scan->found(), scan->path(),
                          scan->position());
        } else {
            recordFailure(hasFailed, number, reason);
        }
    }

    std::unique_ptr<char[]> text;
    std::size_t capacity = 0;
    bool hasFailed = false;
    dom::parser parser;
    ByteBufferReader* reader = nullptr;
    IStructuredSerializer* target = nullptr;
    unsigned int limit = MAX_NESTING_DEPTH;
    bool done = false;
};

JSONStructuredPushDeserializerOld::JSONStructuredPushDeserializerOld()
    : state_(std::make_unique<State>()) {}

JSONStructuredPushDeserializerOld::~JSONStructuredPushDeserializerOld() = default;

bool JSONStructuredPushDeserializerOld::beginDeserialize(ByteBufferReader* reader,
                                                         IStructuredSerializer* target) {
    const bool failed = reader == nullptr || target == nullptr;
    state_->reader = failed ? nullptr : reader;
    state_->target = failed ? nullptr : target;
    state_->done = false;
    state_->hasFailed = false;
    if (failed) {
        recordFailure(state_->hasFailed, CallOutOfPlace, "a reader and a target", "none");
    }
    return failed;
}

int JSONStructuredPushDeserializerOld::deserialize() {
    State& state = *state_;
    if (state.reader == nullptr || state.done) {
        recordFailure(state.hasFailed, CallOutOfPlace, "a payload that was begun", "none");
        return FAILED;
    }
    const unsigned long size = state.reader->remaining();
    try {
        dom::element root;
        if (state.parse(
                {reinterpret_cast<char const*>(state.reader->data()) + state.reader->position(),
                 size},
                root)) {
            return FAILED;
        }
        Replay replay(state.limit, *state.target);
        state.done = !replay.run(root);
        if (state.done) {
            static_cast<void>(state.reader->skip(size));  // cannot fail: `size` bytes are left
        } else if (replay.isTooDeep()) {
            state.recordMistake(size, NestingTooDeep, "nested too deeply");
        }
    } catch (const std::bad_alloc&) {
        recordNoMemory(state.hasFailed);
        return FAILED;
    }
    state.hasFailed = state.hasFailed || !state.done;  // keeps the reason that the target stored
    return state.done ? DONE : FAILED;
}

bool JSONStructuredPushDeserializerOld::endDeserialize() {
    const bool failed = !state_->done;
    if (failed) {
        recordFailure(state_->hasFailed, CallOutOfPlace, "a payload that was read", "none");
    }
    state_->reader = nullptr;
    state_->target = nullptr;
    state_->done = false;
    return failed;
}

std::size_t JSONStructuredPushDeserializerOld::positionOf(std::string_view payload,
                                                          std::uint32_t event) const noexcept {
    JsonScan scan(payload);
    return scan.findEvent(event) ? scan.position() : NO_POSITION;
}

void JSONStructuredPushDeserializerOld::setNestingLimit(unsigned int limit) noexcept {
    state_->limit = std::min(limit, static_cast<unsigned int>(MAX_NESTING_DEPTH));
}

}  // namespace util::serializer
