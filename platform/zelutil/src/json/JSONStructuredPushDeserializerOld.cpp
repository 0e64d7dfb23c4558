#include "util/serializer/JSONStructuredPushDeserializerOld.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "json/JsonDetection.h"
#include "json/JsonScan.h"
#include "json/Tape.h"
#include "pull/Record.h"
#include "pull/SerializerTarget.h"
#include "serializer/Failure.h"
#include "util/Limits.h"

// simdjson parses the text into a document and validates syntax, UTF-8 and numbers. A walk over the
// words of the document then makes the calls of a target.
namespace util::serializer {

namespace {

using config::Tape;

const json::ProcessorDetection DETECTION;

constexpr char const* FILE_NAME = "platform/zelutil/src/json/JSONStructuredPushDeserializerOld";

/// A walk over a document that makes the calls of a target. The functions return true on success.
template <class Target>
class TapeWalk {
public:
    /// Creates a walk in which at most `limit` levels may be open.
    TapeWalk(const Tape& tape, unsigned int limit, Target& target) noexcept
        : tape_(tape), limit_(limit), target_(target) {}

    bool run();
    /// Returns whether the walk failed because of the nesting limit, and not because of the target.
    bool isTooDeep() const noexcept { return isTooDeep_; }

private:
    bool isInObject() const noexcept { return isObject_[depth_ - 1]; }
    bool beginItem();
    bool value();
    bool put();
    bool open(bool isObject);
    bool close();
    bool endItem() {
        return depth_ == 0 || (isInObject() ? target_.endField() : target_.endElement());
    }

    const Tape& tape_;
    std::size_t at_ = Tape::ROOT;
    unsigned int limit_;
    Target& target_;
    std::size_t depth_ = 0;
    bool isTooDeep_ = false;
    std::array<bool, MAX_NESTING_DEPTH> isObject_;  // whether each open level is an object
};

template <class Target>
bool TapeWalk<Target>::run() {
    do {
        const char kind = tape_.kind(at_);
        const bool isEnd = kind == ']' || kind == '}';
        if (!(isEnd ? close() : beginItem() && value())) {
            return false;
        }
        at_ = tape_.next(at_);
    } while (depth_ != 0);
    return true;
}

// Begins the next element or field, and moves to its value.
template <class Target>
bool TapeWalk<Target>::beginItem() {
    if (depth_ == 0) {
        return true;
    }
    if (!isInObject()) {
        return target_.beginElement();
    }
    const std::string_view key = tape_.text(at_);
    ++at_;
    return target_.beginField(key);
}

// Makes the calls for a scalar, or for the beginning of an array or object.
template <class Target>
bool TapeWalk<Target>::value() {
    const char kind = tape_.kind(at_);
    if (kind == '[' || kind == '{') {
        return open(kind == '{');
    }
    return put() && endItem();
}

template <class Target>
bool TapeWalk<Target>::put() {
    switch (tape_.kind(at_)) {
        case '"':
            return target_.putString(tape_.text(at_));
        case 'l':
            return target_.putSigned(tape_.signedAt(at_));
        case 'u':
            return target_.putUnsigned(tape_.unsignedAt(at_));
        case 'd':
            return target_.putDouble(tape_.realAt(at_));
        case 't':
            return target_.putBoolean(true);
        case 'f':
            return target_.putBoolean(false);
        default:
            return target_.putNull();
    }
}

template <class Target>
bool TapeWalk<Target>::open(bool isObject) {
    if (depth_ == limit_) {
        isTooDeep_ = true;
        return false;
    }
    isObject_[depth_++] = isObject;
    return isObject ? target_.beginStruct() : target_.beginArray();
}

template <class Target>
bool TapeWalk<Target>::close() {
    const bool isObject = isInObject();
    --depth_;
    return (isObject ? target_.endStruct() : target_.endArray()) && endItem();
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
    // Not defaulted, so that `make_unique` does not first set the whole object to zero.
    State() noexcept {}  // NOLINT(modernize-use-equals-default)

    /// Parses `payload` and calls `target` for each value, and for the begin and end of each field
    /// and container. Returns false on failure. The reason is then stored; if a serializer rejected
    /// a call, the serializer has stored it.
    template <class Target>
    bool replay(std::string_view payload, unsigned int levels, Target& target) noexcept {
        limit = levels;
        try {
            if (!parse(payload)) {
                return false;
            }
            const Tape tape(parser.doc);
            TapeWalk walk(tape, limit, target);
            if (walk.run()) {
                return true;
            }
            if (walk.isTooDeep()) {
                storeMistake(payload.size(), NestingTooDeep, "nested too deeply");
            }
        } catch (const std::bad_alloc&) {
            recordNoMemory(hasFailed);
        }
        return false;
    }

    bool parse(std::string_view payload) {
        const auto error = copy(payload) ? parser.parse(text.get(), payload.size(), false).error()
                                         : simdjson::MEMALLOC;
        if (error == simdjson::SUCCESS) {
            return true;
        }
        if (error == simdjson::MEMALLOC) {
            // After MEMALLOC the parser wrongly assumes that its buffers have full size, so start
            // over with a new one.
            parser = simdjson::dom::parser();
            recordNoMemory(hasFailed);
        } else {
            storeMistake(payload.size(), numberOf(error), simdjson::error_message(error));
        }
        return false;
    }

    // Copies the text, because the parser reads past its end. Returns false if memory is exhausted.
    bool copy(std::string_view payload) noexcept {
        if (text == nullptr || capacity < payload.size()) {
            text.reset(new (std::nothrow) char[payload.size() + simdjson::SIMDJSON_PADDING]);
            capacity = text == nullptr ? 0 : payload.size();
        }
        if (text == nullptr) {
            return false;
        }
        std::copy(payload.begin(), payload.end(), text.get());
        std::fill_n(text.get() + payload.size(), simdjson::SIMDJSON_PADDING, '\0');
        return true;
    }

    // Stores the failure together with the copy of the text. The mistake is located in the copy
    // when the message is read. If the copy is too large to be kept, the mistake is not located,
    // because that would need a second pass before this function returns.
    void storeMistake(std::size_t size, PayloadErrorNumber number, char const* reason) noexcept {
        if (capacity > JsonFailure::MAX_KEPT) {
            recordFailure(hasFailed, number, reason);
        } else if (!std::exchange(hasFailed, true)) {
            zel::ErrorStorage::current().record<JsonFailure>(
                PayloadError, number, FILE_NAME, __LINE__, text, size, std::size_t{limit}, reason);
        }
    }

    std::unique_ptr<char[]> text;
    std::size_t capacity = 0;
    bool hasFailed = false;
    simdjson::dom::parser parser;
    ByteBufferReader* reader = nullptr;
    IStructuredSerializer* target = nullptr;
    unsigned int nestingLimit = MAX_NESTING_DEPTH;
    unsigned int limit = MAX_NESTING_DEPTH;  // the limit for the payload that was read last
    bool done = false;
};

JSONStructuredPushDeserializerOld::JSONStructuredPushDeserializerOld()
    : state_(std::make_unique<State>()) {}

JSONStructuredPushDeserializerOld::~JSONStructuredPushDeserializerOld() = default;

bool JSONStructuredPushDeserializerOld::record(std::string_view payload, unsigned int limit,
                                               Record& record) noexcept {
    state_->hasFailed = false;
    if (state_->replay(payload, limit, record)) {
        return true;
    }
    recordNoMemory(state_->hasFailed);  // a record rejects a call only if memory is exhausted
    return false;
}

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
    const std::string_view payload(
        reinterpret_cast<char const*>(state.reader->data()) + state.reader->position(),
        state.reader->remaining());
    SerializerTarget calls(*state.target);
    state.done = state.replay(payload, state.nestingLimit, calls);
    if (!state.done) {
        state.hasFailed = true;  // set even if the target has stored the reason
        return FAILED;
    }
    static_cast<void>(state.reader->skip(payload.size()));  // cannot fail: these bytes are left
    return DONE;
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
    state_->nestingLimit = std::min(limit, static_cast<unsigned int>(MAX_NESTING_DEPTH));
}

}  // namespace util::serializer
