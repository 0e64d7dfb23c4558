#include "util/serializer/FieldReader.h"

#include <new>
#include <optional>

#include "bytes/TextCheck.h"
#include "fields/CborFields.h"
#include "fields/IdleParser.h"
#include "fields/TapeFields.h"

namespace util::serializer {

namespace {

/// A target that ignores all calls, for a decoder that only validates.
struct NoTarget {
    static bool putNull() noexcept { return true; }
    static bool putBoolean(bool) noexcept { return true; }
    static bool putSigned(std::int64_t) noexcept { return true; }
    static bool putUnsigned(std::uint64_t) noexcept { return true; }
    static bool putFloat(float) noexcept { return true; }
    static bool putDouble(double) noexcept { return true; }
    static bool putString(std::string_view) noexcept { return true; }
    static bool putEmptyElement() noexcept { return true; }
    static bool beginArray() noexcept { return true; }
    static bool endArray() noexcept { return true; }
    static bool beginElement() noexcept { return true; }
    static bool endElement() noexcept { return true; }
    static bool beginStruct() noexcept { return true; }
    static bool endStruct() noexcept { return true; }
    static bool beginField(std::string_view) noexcept { return true; }
    static bool endField() noexcept { return true; }
};

template <class Fields, class Item>
bool readItem(Fields& fields, Item& item) {
    if constexpr (std::is_integral_v<Item> && !std::is_same_v<Item, bool> && sizeof(Item) < 8) {
        std::int64_t wide = 0;
        const bool done = fields.value(wide) && static_cast<Item>(wide) == wide;
        item = static_cast<Item>(wide);
        return done;
    } else {
        return fields.value(item);
    }
}

template <class Fields, class Item>
bool readItems(Fields& fields, std::vector<Item>& out) {
    if (!fields.beginArray()) {
        return false;
    }
    while (!fields.atEnd()) {
        Item item{};
        if (!readItem(fields, item)) {
            return false;
        }
        out.push_back(item);
        fields.endItem();
    }
    return fields.endContainer();
}

}  // namespace

bool CborFields::skipValue() noexcept {
    CborHead head{};
    CborInput behind = in_;
    if (!behind.readHead(head)) {
        return false;
    }
    if (head.kind() == UNSIGNED) {  // fast path: needs no decoder
        in_ = behind;
        return true;
    }
    try {
        const auto limit = static_cast<unsigned int>(deepest_ - top_);
        NoTarget ignored;
        CborDecoder decoder({reinterpret_cast<char const*>(in_.at), in_.left()}, limit, ignored,
                            [](std::uint64_t, std::string_view) { return true; });
        if (!decoder.decodeValue()) {
            return false;
        }
        in_.at = decoder.position();
        return true;
    } catch (const std::bad_alloc&) {  // collecting the chunks of a string allocates memory
        return false;
    }
}

bool CborFields::packedBytes(std::uint64_t tag, std::size_t size,
                             std::string_view& bytes) noexcept {
    CborHead head{};
    if (!in_.readHead(head) || head.argument != tag || top_ == deepest_) {
        return false;
    }
    return in_.readHead(head) && head.kind() == BYTES && !head.isOpen() &&
           in_.readBytes(head.argument, bytes) && bytes.size() % size == 0;
}

struct FieldReader::State {
    State(Format format, std::string_view bytes, std::size_t levels) noexcept
        : isBinary(format == Format::Binary), payload(bytes), depth(levels), cbor(bytes, levels) {}

    bool isBinary;
    std::string_view payload;
    std::size_t depth;
    json::ParserLoan parser;
    std::optional<TapeFields> tape;
    CborFields cbor;
};

FieldReader::FieldReader(Format format, std::string_view payload, std::size_t depth) noexcept {
    static_assert(sizeof(State) <= STATE_SIZE && alignof(State) <= alignof(std::uint64_t));
    new (state_) State(format, payload, std::min(depth, MAX_NESTING_DEPTH));
}

FieldReader::~FieldReader() {
    state().~State();
}

bool FieldReader::begin() noexcept {
    if (state().isBinary) {
        return state().cbor.begin();
    }
    auto const* const document = state().parser.parse(state().payload);
    if (document == nullptr) {
        return false;
    }
    state().tape.emplace(config::Tape(*document), state().depth);
    return true;
}

bool FieldReader::end() const noexcept {
    return state().isBinary ? state().cbor.end() : state().tape->end();
}

FieldReader::Kind FieldReader::kind() const noexcept {
    return state().isBinary ? state().cbor.kind() : state().tape->kind();
}

bool FieldReader::null() noexcept {
    return state().isBinary ? state().cbor.null() : state().tape->null();
}

bool FieldReader::value(bool& out) noexcept {
    return state().isBinary ? state().cbor.value(out) : state().tape->value(out);
}

bool FieldReader::value(std::int64_t& out) noexcept {
    return state().isBinary ? state().cbor.value(out) : state().tape->value(out);
}

bool FieldReader::value(std::uint64_t& out) noexcept {
    return state().isBinary ? state().cbor.value(out) : state().tape->value(out);
}

bool FieldReader::value(float& out) noexcept {
    return state().isBinary ? state().cbor.value(out) : state().tape->value(out);
}

bool FieldReader::value(double& out) noexcept {
    return state().isBinary ? state().cbor.value(out) : state().tape->value(out);
}

bool FieldReader::value(std::string& out) {
    std::string_view view;
    if (!text(view)) {
        return false;
    }
    assignText(out, view);
    return true;
}

bool FieldReader::text(std::string_view& out) noexcept {
    return state().isBinary ? state().cbor.text(out) : state().tape->text(out);
}

template <class Item>
bool FieldReader::readValues(std::vector<Item>& out) {
    out.clear();
    if (!state().isBinary) {
        return readItems(*state().tape, out);
    }
    CborFields& cbor = state().cbor;
    return cbor.isPacked() ? cbor.packedValues(out) : readItems(cbor, out);
}

bool FieldReader::values(std::vector<bool>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::int8_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::uint8_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::int16_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::uint16_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::int32_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::uint32_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::int64_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<std::uint64_t>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<float>& out) {
    return readValues(out);
}

bool FieldReader::values(std::vector<double>& out) {
    return readValues(out);
}

bool FieldReader::beginArray() noexcept {
    return state().isBinary ? state().cbor.beginArray() : state().tape->beginArray();
}

bool FieldReader::atArrayEnd() const noexcept {
    return state().isBinary ? state().cbor.atEnd() : state().tape->atEnd();
}

bool FieldReader::endElement() noexcept {
    return !state().isBinary || state().cbor.endItem();
}

bool FieldReader::endArray() noexcept {
    return state().isBinary ? state().cbor.endContainer() : state().tape->endContainer();
}

bool FieldReader::beginObject() noexcept {
    return state().isBinary ? state().cbor.beginObject() : state().tape->beginObject();
}

bool FieldReader::atObjectEnd() const noexcept {
    return atArrayEnd();
}

bool FieldReader::beginField(std::string_view& name) noexcept {
    return state().isBinary ? state().cbor.beginField(name) : state().tape->beginField(name);
}

bool FieldReader::skipField() noexcept {
    if (!state().isBinary) {
        return state().tape->skipValue();
    }
    return state().cbor.skipValue() && state().cbor.endItem();
}

bool FieldReader::endField() noexcept {
    return endElement();
}

bool FieldReader::endObject() noexcept {
    return endArray();
}

}  // namespace util::serializer
