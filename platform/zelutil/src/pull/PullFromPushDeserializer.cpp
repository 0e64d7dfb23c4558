#include "util/serializer/PullFromPushDeserializer.h"

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "bytes/TextCheck.h"
#include "pull/PullHandler.h"

// The reader's functions for payloads, values and typed arrays. The others are in
// PullFromPushBrackets.cpp.
namespace util::serializer {

namespace {

using Kind = Event::Kind;

constexpr char const* UNICODE = "a string in UTF-8";

// Returns the words for a message that describe the values which a getter for this type accepts.
constexpr char const* wordsOf(const bool&) noexcept {
    return "a boolean";
}

constexpr char const* wordsOf(const std::string&) noexcept {
    return "a string";
}

template <class Number>
constexpr char const* wordsOf(const Number&) noexcept {
    if constexpr (std::is_same_v<Number, float>) {
        return "a number within the range of a float";
    } else if constexpr (std::is_same_v<Number, double>) {
        return "a number";
    } else if constexpr (std::is_signed_v<Number>) {
        constexpr char const* WORDS[] = {"an integer of 8 bits", "an integer of 16 bits",
                                         "an integer of 32 bits", "an integer of 64 bits"};
        return WORDS[sizeof(Number) / 4 + (sizeof(Number) > 1 ? 1 : 0)];
    } else {
        constexpr char const* WORDS[] = {
            "an unsigned integer of 8 bits", "an unsigned integer of 16 bits",
            "an unsigned integer of 32 bits", "an unsigned integer of 64 bits"};
        return WORDS[sizeof(Number) / 4 + (sizeof(Number) > 1 ? 1 : 0)];
    }
}

std::string_view remainingOf(ByteBufferReader const* reader) noexcept {
    if (reader == nullptr) {
        return {};
    }
    return {reinterpret_cast<char const*>(reader->data()) + reader->position(),
            reader->remaining()};
}

unsigned int nestingLimit(Options const* options) {
    const auto option =
        options == nullptr ? Options::const_iterator() : options->find(OptionTag::NestingLimit);
    if (options == nullptr || option == options->end()) {
        return MAX_NESTING_DEPTH;
    }
    return static_cast<unsigned int>(
        std::clamp(option->second, 0, static_cast<int>(MAX_NESTING_DEPTH)));
}

}  // namespace

// ---- the payload

PullFromPushDeserializer::PullFromPushDeserializer(IStructuredPushDeserializer* source)
    : handler_(std::make_unique<Handler>()), source_(source) {
    constexpr std::size_t SMALL = 1024;  // allocators return such a small block without a search
    static_assert(sizeof(Handler) <= SMALL);
}

PullFromPushDeserializer::~PullFromPushDeserializer() = default;

void PullFromPushDeserializer::readDirectly(RecordSource* source) noexcept {
    handler_->directSource = source;
    handler_->isWholeReader = true;
}

bool PullFromPushDeserializer::isWholeReader() const noexcept {
    return handler_->isWholeReader;
}

bool PullFromPushDeserializer::beginDeserialize(ByteBufferReader* reader, Options const* options) {
    reset();
    handler_->hasFailed = false;
    if (source_ == nullptr) {
        return !handler_->fail("a push deserializer to read through");
    }
    handler_->source = source_;
    handler_->record.start(remainingOf(reader));
    const unsigned int limit = nestingLimit(options);
    const bool isDirect = handler_->directSource != nullptr && reader != nullptr;
    if (!(isDirect ? handler_->recordDirectly(*reader, limit)
                   : handler_->recordCalls(reader, limit))) {
        reset();
        handler_->hasFailed = true;  // the source has stored the reason
        return true;
    }
    handler_->start();
    return false;
}

bool PullFromPushDeserializer::Handler::recordDirectly(ByteBufferReader& reader,
                                                       unsigned int limit) {
    return directSource->record(record.payload(), limit, record) &&
           !reader.skip(reader.remaining());
}

bool PullFromPushDeserializer::Handler::recordCalls(ByteBufferReader* reader, unsigned int limit) {
    recorder.start();
    source->setNestingLimit(limit);
    const bool done = !source->beginDeserialize(reader, &recorder) &&
                      source->deserialize() == IStructuredPushDeserializer::DONE;
    const bool ended = !source->endDeserialize();
    return done && ended && recorder.finish();
}

bool PullFromPushDeserializer::endDeserialize() {
    const bool complete = handler_->stack.isComplete();
    if (!complete) {
        handler_->fail("the end of the payload");
    }
    reset();
    return !complete;
}

void PullFromPushDeserializer::reset() {
    handler_->clear();
}

// ---- values

template <class Convert>
bool PullFromPushDeserializer::Handler::read(char const* expected, Convert convert) {
    Event const* const event = value();
    try {
        if (event == nullptr || !convert(*event)) {
            return fail(expected);
        }
    } catch (const std::bad_alloc&) {
        return failForMemory();
    }
    consume();
    return true;
}

template <class Number>
bool PullFromPushDeserializer::Handler::readItem(Number& out) {
    return read(wordsOf(out), [&](const Event& event) { return convert(record, event, out); });
}

bool PullFromPushDeserializer::getNull() {
    return !handler_->read("null", [](const Event& event) { return event.kind == Kind::Null; });
}

bool PullFromPushDeserializer::getBoolean(bool& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getInt8(std::int8_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getUInt8(std::uint8_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getInt16(std::int16_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getUInt16(std::uint16_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getInt32(std::int32_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getUInt32(std::uint32_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getInt64(std::int64_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getUInt64(std::uint64_t& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getFloat(float& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getDouble(double& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getEnum(int& out, int count, bool checked) {
    int value = 0;
    Event const* const event = handler_->value();
    if (event == nullptr || !convert(handler_->record, *event, value)) {
        return !handler_->fail(wordsOf(out));
    }
    if (checked && (value < 0 || value >= count)) {
        return !handler_->fail(Phrase::ofSigned("an enumerator from 0 to below ", count));
    }
    out = value;
    handler_->consume();
    return false;
}

bool PullFromPushDeserializer::getString(std::string& out) {
    return !handler_->readItem(out);
}

bool PullFromPushDeserializer::getString(UnicodeString8& out) {
    return !handler_->read(UNICODE, [&](const Event& event) {
        if (event.kind != Kind::String || !isUtf8(handler_->record.textOf(event))) {
            return false;
        }
        assignText(out.units, handler_->record.textOf(event));
        return true;
    });
}

bool PullFromPushDeserializer::getString(UnicodeString16& out) {
    return !handler_->read(UNICODE, [&](const Event& event) {
        std::optional<std::u16string> text;
        if (event.kind == Kind::String) {
            text = zel::unicode::utf8ToUtf16(handler_->record.textOf(event));
        }
        if (!text) {
            return false;
        }
        out.units = *std::move(text);
        return true;
    });
}

bool PullFromPushDeserializer::getString(zel::unicode::String& out) {
    return !handler_->read(UNICODE, [&](const Event& event) {
        std::optional<zel::unicode::String> text;
        if (event.kind == Kind::String) {
            text = zel::unicode::String::fromUtf8(handler_->record.textOf(event));
        }
        if (!text) {
            return false;
        }
        out = *std::move(text);
        return true;
    });
}

// ---- typed arrays

template <class Number>
bool PullFromPushDeserializer::Handler::readArray(std::vector<Number>& out) {
    Event const* const array = value();
    if (array == nullptr || array->kind != Kind::Array) {
        return fail("an array");
    }
    try {
        std::vector<Number> items;
        items.reserve(array->content.count);
        std::uint32_t next = stack.top().data.value + 1;
        for (; next != array->next; next = at(next).next) {
            Number item{};
            if (!convert(record, at(next), item)) {
                return failAtElement(next, items.size(), wordsOf(item));
            }
            items.push_back(std::move(item));
        }
        out = std::move(items);
    } catch (const std::bad_alloc&) {
        return failForMemory();
    }
    consume();
    return true;
}

bool PullFromPushDeserializer::getNullArray(unsigned long& count) {
    Event const* const array = handler_->value();
    if (array == nullptr || array->kind != Kind::Array) {
        return !handler_->fail("an array");
    }
    std::uint64_t index = 0;
    std::uint32_t next = handler_->stack.top().data.value + 1;
    for (; next != array->next; next = handler_->at(next).next, ++index) {
        if (handler_->at(next).kind != Kind::Null) {
            return !handler_->failAtElement(next, index, "null");
        }
    }
    count = array->content.count;
    handler_->consume();
    return false;
}

bool PullFromPushDeserializer::getBooleanArray(std::vector<bool>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getInt8Array(std::vector<std::int8_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getUInt8Array(std::vector<std::uint8_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getInt16Array(std::vector<std::int16_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getUInt16Array(std::vector<std::uint16_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getInt32Array(std::vector<std::int32_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getUInt32Array(std::vector<std::uint32_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getInt64Array(std::vector<std::int64_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getUInt64Array(std::vector<std::uint64_t>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getFloatArray(std::vector<float>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getDoubleArray(std::vector<double>& out) {
    return !handler_->readArray(out);
}

bool PullFromPushDeserializer::getStringArray(std::vector<std::string>& out) {
    return !handler_->readArray(out);
}

}  // namespace util::serializer
