#include "util/serializer/JSONStructuredPushDeserializerOld.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <new>

#include "util/Limits.h"

// The text is parsed into simdjson's document, which checks syntax, UTF-8 and numbers; the document
// is then walked with a stack of fixed size.
namespace util::serializer {

namespace {

namespace dom = simdjson::dom;

// In all functions that return bool, true means failure.
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
    std::array<Level, MAX_NESTING_DEPTH> levels_;
};

// A scalar is written whole; of an array or object only the begin.
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

}  // namespace

struct JSONStructuredPushDeserializerOld::State {
    bool parse(unsigned char const* bytes, unsigned long size, dom::element& root) {
        if (bytes == nullptr) {
            return true;  // no text; the parser would compute with the pointer
        }
        const auto error = parser.parse(bytes, size).get(root);
        if (error == simdjson::MEMALLOC) {
            // What it got before memory ran out it takes for all that it needs, the next time.
            parser = dom::parser();
        }
        return error != simdjson::SUCCESS;
    }

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
    return failed;
}

int JSONStructuredPushDeserializerOld::deserialize() {
    State& state = *state_;
    if (state.reader == nullptr || state.done) {
        return FAILED;
    }
    const unsigned long size = state.reader->remaining();
    try {
        dom::element root;
        if (state.parse(state.reader->data() + state.reader->position(), size, root)) {
            return FAILED;
        }
        Replay replay(state.limit, *state.target);
        state.done = !replay.run(root);
        if (state.done) {
            static_cast<void>(state.reader->skip(size));  // what remains can be skipped
        }
    } catch (const std::bad_alloc&) {
        return FAILED;
    }
    return state.done ? DONE : FAILED;
}

bool JSONStructuredPushDeserializerOld::endDeserialize() {
    const bool failed = !state_->done;
    state_->reader = nullptr;
    state_->target = nullptr;
    state_->done = false;
    return failed;
}

void JSONStructuredPushDeserializerOld::setNestingLimit(unsigned int limit) noexcept {
    state_->limit = std::min(limit, static_cast<unsigned int>(MAX_NESTING_DEPTH));
}

}  // namespace util::serializer
