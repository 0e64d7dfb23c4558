#include "util/serializer/PullFromPushDeserializer.h"

#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "Conversions.h"
#include "PullHandler.h"

// The session, the values and the typed arrays. Brackets and entries are in
// PullFromPushBrackets.cpp.
namespace util::serializer {

namespace {

using Kind = Event::Kind;

std::string_view remainingOf(ByteBufferReader const* reader) noexcept {
    if (reader == nullptr) {
        return {};
    }
    return {reinterpret_cast<char const*>(reader->data()) + reader->position(),
            reader->remaining()};
}

}  // namespace

// ---- session

PullFromPushDeserializer::PullFromPushDeserializer(IStructuredPushDeserializer* source)
    : handler_(std::make_unique<Handler>()), source_(source) {
    constexpr std::size_t SMALL = 1024;  // what allocators give out without a search
    static_assert(sizeof(Handler) <= SMALL);
}

PullFromPushDeserializer::~PullFromPushDeserializer() = default;

bool PullFromPushDeserializer::beginDeserialize(ByteBufferReader* reader, Options const* options) {
    reset();
    if (source_ == nullptr) {
        return true;
    }
    unsigned int limit = MAX_NESTING_DEPTH;
    if (options != nullptr) {
        const auto option = options->find(OptionTag::NestingLimit);
        if (option != options->end()) {
            limit = option->second > 0 ? static_cast<unsigned int>(option->second) : 0;
        }
    }
    source_->setNestingLimit(limit);
    Recorder& recorder = handler_->recorder;
    handler_->record.start(remainingOf(reader));
    recorder.start();
    const bool failed = source_->beginDeserialize(reader, &recorder) ||
                        source_->deserialize() != IStructuredPushDeserializer::DONE;
    if (source_->endDeserialize() || failed || recorder.finish()) {
        reset();
        return true;
    }
    handler_->start();
    return false;
}

bool PullFromPushDeserializer::endDeserialize() {
    const bool complete = handler_->stack.isComplete();
    reset();
    return !complete;
}

void PullFromPushDeserializer::reset() {
    handler_->clear();
}

// ---- values

// Reads the value that stands here with `convert(event)`, which is true when it does not fit.
template <class Convert>
bool PullFromPushDeserializer::read(Convert convert) {
    Event const* const event = handler_->value();
    try {
        if (event == nullptr || convert(*event)) {
            return true;
        }
    } catch (const std::bad_alloc&) {
        return true;
    }
    handler_->consume();
    return false;
}

template <class Item>
bool PullFromPushDeserializer::readItem(Item& out) {
    return read([&](const Event& event) { return convert(handler_->record, event, out); });
}

bool PullFromPushDeserializer::getNull() {
    return read([](const Event& event) { return event.kind != Kind::Null; });
}

bool PullFromPushDeserializer::getBoolean(bool& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getInt8(std::int8_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getUInt8(std::uint8_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getInt16(std::int16_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getUInt16(std::uint16_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getInt32(std::int32_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getUInt32(std::uint32_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getInt64(std::int64_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getUInt64(std::uint64_t& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getFloat(float& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getDouble(double& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getEnum(int& out, int count, bool checked) {
    return read([&](const Event& event) {
        int value = 0;
        if (convert(handler_->record, event, value) || (checked && (value < 0 || value >= count))) {
            return true;
        }
        out = value;
        return false;
    });
}

bool PullFromPushDeserializer::getString(std::string& out) {
    return readItem(out);
}

bool PullFromPushDeserializer::getString(UnicodeString8& out) {
    return read([&](const Event& event) {
        if (event.kind != Kind::String || !zel::unicode::isUtf8(handler_->record.textOf(event))) {
            return true;
        }
        assign(out.units, handler_->record.textOf(event));
        return false;
    });
}

bool PullFromPushDeserializer::getString(UnicodeString16& out) {
    return read([&](const Event& event) {
        std::optional<std::u16string> text;
        if (event.kind == Kind::String) {
            text = zel::unicode::utf8ToUtf16(handler_->record.textOf(event));
        }
        if (!text) {
            return true;
        }
        out.units = *std::move(text);
        return false;
    });
}

bool PullFromPushDeserializer::getString(zel::unicode::String& out) {
    return read([&](const Event& event) {
        std::optional<zel::unicode::String> text;
        if (event.kind == Kind::String) {
            text = zel::unicode::String::fromUtf8(handler_->record.textOf(event));
        }
        if (!text) {
            return true;
        }
        out = *std::move(text);
        return false;
    });
}

// ---- typed arrays

template <class Item>
bool PullFromPushDeserializer::readArray(std::vector<Item>& out) {
    return read([&](const Event& array) {
        if (array.kind != Kind::Array) {
            return true;
        }
        std::vector<Item> items;
        items.reserve(array.content.count);
        std::uint32_t next = handler_->stack.top().data.value + 1;
        for (; next != array.next; next = handler_->at(next).next) {
            Item item{};
            if (convert(handler_->record, handler_->at(next), item)) {
                return true;
            }
            items.push_back(std::move(item));
        }
        out = std::move(items);
        return false;
    });
}

bool PullFromPushDeserializer::getNullArray(unsigned long& count) {
    return read([&](const Event& array) {
        if (array.kind != Kind::Array) {
            return true;
        }
        std::uint32_t next = handler_->stack.top().data.value + 1;
        for (; next != array.next; next = handler_->at(next).next) {
            if (handler_->at(next).kind != Kind::Null) {
                return true;
            }
        }
        count = array.content.count;
        return false;
    });
}

bool PullFromPushDeserializer::getBooleanArray(std::vector<bool>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getInt8Array(std::vector<std::int8_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getUInt8Array(std::vector<std::uint8_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getInt16Array(std::vector<std::int16_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getUInt16Array(std::vector<std::uint16_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getInt32Array(std::vector<std::int32_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getUInt32Array(std::vector<std::uint32_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getInt64Array(std::vector<std::int64_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getUInt64Array(std::vector<std::uint64_t>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getFloatArray(std::vector<float>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getDoubleArray(std::vector<double>& out) {
    return readArray(out);
}

bool PullFromPushDeserializer::getStringArray(std::vector<std::string>& out) {
    return readArray(out);
}

}  // namespace util::serializer
