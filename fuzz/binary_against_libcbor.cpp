// The binary format against libcbor, a decoder of all of RFC 8949. A payload that libcbor refuses
// is refused. A payload that libcbor accepts has exactly the value that libcbor finds, or violates
// a rule of docs/formats.md that libcbor does not have; the reason of the refusal then names this
// rule.
//
// The other rules are those of both decoders: lengths, breaks, chunks, UTF-8 in text strings and
// simple values. Half floats, lengths of both kinds and repeated keys are compared like everything
// else.
#include <cbor.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>

#include "support/Convert.h"
#include "support/Fuzz.h"
#include "util/Limits.h"
#include "util/serializer/PayloadError.h"
#include "zel/ErrorStorage.h"

using namespace fuzz;

namespace {

// The rules that libcbor does not have, in the words of the reason of a refusal.
constexpr char const* ONE_VALUE = "the end of the payload";
constexpr char const* INTEGER_RANGE = "an integer of 64 bits";
constexpr char const* KEYS_ARE_STRINGS = "a field name";
constexpr char const* TYPED_ARRAYS_ONLY = "the tag of a typed array";
constexpr char const* TYPED_ARRAY_OF_BYTES = "the bytes of a typed array";
constexpr char const* WHOLE_ITEMS = "a whole number of items";
constexpr char const* DEPTH = "no more levels than 256";
static_assert(util::MAX_NESTING_DEPTH == 256, "the rule states the depth");

struct Release {
    void operator()(cbor_item_t* item) const { cbor_decref(&item); }
};
using Item = std::unique_ptr<cbor_item_t, Release>;

cbor_data bytesOf(std::string_view text) {
    return reinterpret_cast<cbor_data>(text.data());
}

Item loaded(std::string_view payload, cbor_load_result& result) {
    return Item(cbor_load(bytesOf(payload), payload.size(), &result));
}

// Returns the shortest head of an item.
std::string headOf(std::uint8_t kind, std::uint64_t argument) {
    std::array<unsigned char, 9> bytes{};
    const std::size_t size = cbor_encode_uint(argument, bytes.data(), bytes.size());
    bytes[0] = static_cast<unsigned char>(bytes[0] | kind);
    return {reinterpret_cast<char const*>(bytes.data()), size};
}

// Returns whether the bytes are UTF-8: whether libcbor accepts them as a text string.
bool isUtf8(const std::string& bytes) {
    cbor_load_result result{};
    return loaded(headOf(0x60, bytes.size()) + bytes, result) != nullptr;
}

// Returns whether an array or map in the payload declares more entries than the payload has bytes.
// `cbor_load` would allocate memory for them.
bool hasHugeLength(std::string_view payload) {
    struct Search {
        std::size_t limit;
        bool found;
    } search{payload.size(), false};
    cbor_callbacks calls = cbor_empty_callbacks;
    calls.array_start = calls.map_start = [](void* closure, std::size_t count) {
        auto& state = *static_cast<Search*>(closure);
        state.found = state.found || count > state.limit;
    };
    for (cbor_decoder_result result{}; !payload.empty(); payload.remove_prefix(result.read)) {
        result = cbor_stream_decode(bytesOf(payload), payload.size(), &calls, &search);
        if (result.status != CBOR_DECODER_FINISHED) {
            break;
        }
    }
    return search.found;
}

/// A typed array of RFC 8746, whose tag has the bits 010fsell.
class TypedArray {
public:
    explicit TypedArray(std::uint64_t tag) : tag_(tag) {}

    /// Returns whether the binary format has this type. It has neither half and 128-bit floats, nor
    /// the tag 76, which is reserved.
    bool isKnown() const {
        const bool isReserved = tag_ == 76;
        return tag_ >> 5U == 2 && tag_ < 88 && !isReserved &&
               (!isFloat() || itemSize() == 4 || itemSize() == 8);
    }
    std::size_t itemSize() const {
        return (isFloat() ? std::size_t{2} : std::size_t{1}) << (tag_ & 3U);
    }
    /// Returns the tag of the same type in big-endian order. The tag 68, of clamped bytes, becomes
    /// that of bytes.
    std::uint64_t bigEndianTag() const { return tag_ & ~LITTLE; }
    std::string bigEndian(std::string bytes) const {
        if ((tag_ & LITTLE) != 0) {
            for (auto at = bytes.begin(); at != bytes.end(); at += length()) {
                std::reverse(at, at + length());
            }
        }
        return bytes;
    }

private:
    static constexpr std::uint64_t LITTLE = 4;

    bool isFloat() const { return (tag_ & 16U) != 0; }
    std::ptrdiff_t length() const { return static_cast<std::ptrdiff_t>(itemSize()); }

    std::uint64_t tag_;
};

// Returns the bytes of a string, or of all its chunks.
std::string textOf(cbor_item_t const* item) {
    const bool isText = cbor_isa_string(item);
    if (isText ? cbor_string_is_definite(item) : cbor_bytestring_is_definite(item)) {
        auto const* const begin = isText ? cbor_string_handle(item) : cbor_bytestring_handle(item);
        return {reinterpret_cast<char const*>(begin),
                isText ? cbor_string_length(item) : cbor_bytestring_length(item)};
    }
    auto* const* const chunks =
        isText ? cbor_string_chunks_handle(item) : cbor_bytestring_chunks_handle(item);
    const std::size_t count =
        isText ? cbor_string_chunk_count(item) : cbor_bytestring_chunk_count(item);
    return std::accumulate(
        chunks, chunks + count, std::string(),
        [](std::string text, cbor_item_t const* chunk) { return std::move(text) + textOf(chunk); });
}

/// Writes the value of an item as kova writes it in the binary format. The functions return false,
/// and keep the rule, if the item violates one.
class Expectation {
public:
    bool value(cbor_item_t const* item, bool isElement = false);
    bool fail(char const* rule) {
        rule_ = rule;
        return false;
    }

    const std::string& bytes() const { return bytes_; }
    char const* rule() const { return rule_; }

private:
    void string(cbor_item_t const* item);
    bool array(cbor_item_t const* item);
    bool map(cbor_item_t const* item);
    bool typedArray(cbor_item_t const* item);
    void simple(cbor_item_t const* item, bool isElement);
    void head(std::uint8_t kind, std::uint64_t argument) { bytes_ += headOf(kind, argument); }
    template <typename Bits, typename Number>
    void real(std::uint8_t first, Number number);
    void byte(std::uint8_t byte) { bytes_.push_back(static_cast<char>(byte)); }
    bool enter() { return ++depth_ <= util::MAX_NESTING_DEPTH || fail(DEPTH); }
    bool leave() {
        --depth_;
        byte(0xFF);
        return true;
    }

    std::string bytes_;
    char const* rule_ = nullptr;
    unsigned int depth_ = 0;
};

bool Expectation::value(cbor_item_t const* item, bool isElement) {
    switch (cbor_typeof(item)) {
        case CBOR_TYPE_UINT:
            head(0x00, cbor_get_int(item));
            return true;
        case CBOR_TYPE_NEGINT:
            head(0x20, cbor_get_int(item));
            return cbor_get_int(item) <= std::numeric_limits<std::int64_t>::max() ||
                   fail(INTEGER_RANGE);
        case CBOR_TYPE_BYTESTRING:
        case CBOR_TYPE_STRING:
            string(item);
            return true;
        case CBOR_TYPE_ARRAY:
            return array(item);
        case CBOR_TYPE_MAP:
            return map(item);
        case CBOR_TYPE_TAG:
            return typedArray(item);
        default:
            simple(item, isElement);
            return true;
    }
}

// A string that is UTF-8 is written as a text string, whatever it was.
void Expectation::string(cbor_item_t const* item) {
    const std::string bytes = textOf(item);
    head(isUtf8(bytes) ? 0x60 : 0x40, bytes.size());
    bytes_ += bytes;
}

bool Expectation::array(cbor_item_t const* item) {
    if (!enter()) {
        return false;
    }
    byte(0x9F);
    auto* const* const items = cbor_array_handle(item);
    return std::all_of(items, items + cbor_array_size(item),
                       [this](cbor_item_t const* each) { return value(each, true); }) &&
           leave();
}

bool Expectation::map(cbor_item_t const* item) {
    if (!enter()) {
        return false;
    }
    byte(0xBF);
    auto const* const pairs = cbor_map_handle(item);
    return std::all_of(pairs, pairs + cbor_map_size(item),
                       [this](const cbor_pair& pair) {
                           const bool isString =
                               cbor_isa_string(pair.key) || cbor_isa_bytestring(pair.key);
                           return (isString || fail(KEYS_ARE_STRINGS)) && value(pair.key) &&
                                  value(pair.value);
                       }) &&
           leave();
}

// A typed array counts as a level, and is written in big-endian order.
bool Expectation::typedArray(cbor_item_t const* item) {
    const TypedArray type(cbor_tag_value(item));
    const Item content(cbor_tag_item(item));
    if (!type.isKnown()) {
        return fail(TYPED_ARRAYS_ONLY);
    }
    if (!cbor_isa_bytestring(content.get())) {
        return fail(TYPED_ARRAY_OF_BYTES);
    }
    std::string items = textOf(content.get());
    if (items.size() % type.itemSize() != 0) {
        return fail(WHOLE_ITEMS);
    }
    if (!enter()) {
        return false;
    }
    --depth_;
    head(0xC0, type.bigEndianTag());
    head(0x40, items.size());
    bytes_ += type.bigEndian(std::move(items));
    return true;
}

// A half float is written as a float, and "undefined" outside of an array as null.
void Expectation::simple(cbor_item_t const* item, bool isElement) {
    switch (cbor_float_get_width(item)) {
        case CBOR_FLOAT_16:
            return real<std::uint32_t>(0xFA, cbor_float_get_float2(item));
        case CBOR_FLOAT_32:
            return real<std::uint32_t>(0xFA, cbor_float_get_float4(item));
        case CBOR_FLOAT_64:
            return real<std::uint64_t>(0xFB, cbor_float_get_float8(item));
        default:
            const std::uint8_t kind = cbor_ctrl_value(item);
            const bool isNull = kind == CBOR_CTRL_UNDEF && !isElement;
            head(0xE0, isNull ? std::uint8_t{CBOR_CTRL_NULL} : kind);
    }
}

template <typename Bits, typename Number>
void Expectation::real(std::uint8_t first, Number number) {
    static_assert(sizeof(Bits) == sizeof(Number));
    Bits bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    byte(first);
    for (std::size_t i = sizeof bits; i > 0; --i) {
        byte(static_cast<std::uint8_t>(bits >> 8 * (i - 1)));
    }
}

// Returns the item after the tag of a self-described payload (55799), which only the first item may
// have.
Item withoutSelfDescription(Item item) {
    const bool isDescribed = cbor_isa_tag(item.get()) && cbor_tag_value(item.get()) == 55799;
    return isDescribed ? Item(cbor_tag_item(item.get())) : std::move(item);
}

void requireRefusedFor(char const* rule) {
    const zel::ErrorStorage& error = zel::ErrorStorage::current();
    const bool isNamed = error.reason().find(std::string("expected ") + rule) != std::string::npos;
    requireEqual(isNamed ? rule : error.reason(), rule, "the reason names the rule");
    require((error.number() == util::serializer::NestingTooDeep) == (rule == DEPTH),
            "the number of the error is that of the rule");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view payload(reinterpret_cast<char const*>(data), size);
    zel::ErrorStorage::current().acknowledge();  // so that no former reason is read
    if (hasHugeLength(payload)) {
        const auto read = converted(BinaryReader(), payload, BinaryWriter());
        require(!read, "a length is not greater than the payload");
        return 0;
    }
    cbor_load_result result{};
    Item item = loaded(payload, result);
    const auto read = converted(BinaryReader(), payload, BinaryWriter());
    if (item == nullptr) {
        require(!read, "a payload that libcbor refuses is refused");
        return 0;
    }
    item = withoutSelfDescription(std::move(item));
    Expectation expected;
    const bool isRead =
        expected.value(item.get()) && (result.read == size || expected.fail(ONE_VALUE));
    if (isRead) {
        require(read.has_value(), "a payload without a mistake is accepted");
        requireEqual(payloads::toHex(*read), payloads::toHex(expected.bytes()),
                     "the payload has the value that libcbor finds");
    } else {
        require(!read, expected.rule());
        requireRefusedFor(expected.rule());
    }
    return 0;
}
