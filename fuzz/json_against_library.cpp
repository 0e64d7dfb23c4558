// JSON against Boost.JSON, a parser that shares no code with simdjson, with which kova reads JSON.
// RapidJSON was the alternative: its latest release is of 2016, while Boost.JSON is released three
// times a year. A text that Boost.JSON refuses is refused. A text that it accepts has exactly the
// value that it finds, or violates a rule of docs/formats.md that Boost.JSON does not have; the
// reason of the refusal then names this rule.
//
// The other rules are those of both parsers: the grammar, UTF-8, pairs of surrogates, zero bytes,
// and nothing after the value. Repeated keys are compared, too: a payload has all of them, a tree
// the last one.
//
// Only the values of numbers are not those of Boost.JSON, because version 1.81 rounds some of them
// wrongly. It finds their digits; the C++ library converts them.
#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/Trees.h"
#include "util/Limits.h"
#include "util/serializer/PayloadError.h"
#include "zel/ErrorStorage.h"

using namespace fuzz;
namespace config = util::config;
namespace json = boost::json;
using config::Value;

namespace {

// Longer texts could exceed the depth of simdjson (1024), which checks numbers and depth together.
constexpr std::size_t LONGEST = 1024;

// The rules that Boost.JSON does not have, in the words of the reason of a refusal.
constexpr char const* DEPTH = "no more levels than 256";
constexpr char const* INTEGER_RANGE = "an integer of 64 bits";
constexpr char const* REAL_RANGE = "a number within the range of a double";
static_assert(util::MAX_NESTING_DEPTH == 256, "the rule states the depth");

/// What a text should be read as: the binary payload with all its values, and the tree, in which a
/// repeated key has its last value.
///
/// Keeps the first rule that the text violates, and whether it violates only the one of the depth.
class Expectation {
public:
    void null() {
        byte(0xF6);
        add(Value::getNull());
    }
    void boolean(bool value) {
        byte(value ? 0xF5 : 0xF4);
        add(Value::getBool(value));
    }
    void number(std::string_view digits);
    void string(const std::string& text) {
        bytesOf(text);
        add(new config::ValueString(text));
    }
    void key(const std::string& text) {
        bytesOf(text);
        keys_.back() = text;
    }
    void open(bool isObject) {
        byte(isObject ? 0xBF : 0x9F);
        Value* const container = isObject ? static_cast<Value*>(new config::Dictionary)
                                          : static_cast<Value*>(new config::Array);
        add(container);
        containers_.push_back(container);
        keys_.emplace_back();
        if (containers_.size() > util::MAX_NESTING_DEPTH) {
            violate(DEPTH);
        }
    }
    void close() {
        byte(0xFF);
        containers_.pop_back();
        keys_.pop_back();
    }

    const std::string& bytes() const { return bytes_; }
    const Value& tree() const { return *tree_; }
    char const* rule() const { return rule_; }
    bool isOnlyTooDeep() const { return isOnlyTooDeep_; }

private:
    void integer(std::string_view digits);
    void head(unsigned int kind, std::uint64_t argument);
    void add(Value* value);
    void byte(unsigned int byte) { bytes_.push_back(static_cast<char>(byte)); }
    void bytesOf(std::string_view text) {
        head(0x60, text.size());
        bytes_ += text;
    }
    void violate(char const* rule) {
        rule_ = rule_ == nullptr ? rule : rule_;
        isOnlyTooDeep_ = isOnlyTooDeep_ && rule == DEPTH;
    }

    std::string bytes_;
    kova::test::Tree tree_;
    std::vector<Value*> containers_;  // the open ones
    std::vector<std::string> keys_;   // the latest key of each open object
    char const* rule_ = nullptr;
    bool isOnlyTooDeep_ = true;
};

void Expectation::number(std::string_view digits) {
    if (digits.find_first_of(".eE") == std::string_view::npos) {
        return integer(digits);
    }
    const double real = std::strtod(std::string(digits).c_str(), nullptr);
    std::uint64_t bits = 0;
    std::memcpy(&bits, &real, sizeof bits);
    byte(0xFB);
    for (unsigned int shift = 64; shift > 0; shift -= 8) {
        byte(static_cast<unsigned char>(bits >> (shift - 8)));
    }
    add(new config::ValueFloat(real));
    if (std::isinf(real)) {
        violate(REAL_RANGE);
    }
}

void Expectation::integer(std::string_view digits) {
    constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();
    const bool isNegative = digits.front() == '-';
    std::uint64_t number = 0;
    const auto parsed = std::from_chars(digits.data() + (isNegative ? 1 : 0),
                                        digits.data() + digits.size(), number);
    if (parsed.ec != std::errc() || (isNegative && number > MAX_SIGNED + 1)) {
        violate(INTEGER_RANGE);
    }
    if (isNegative && number != 0) {
        head(0x20, number - 1);
        add(new config::ValueInt(static_cast<long>(~number + 1)));
    } else {
        head(0x00, number);
        add(new config::ValueInt(static_cast<unsigned long>(number)));
    }
}

// Appends the shortest head of an item.
void Expectation::head(unsigned int kind, std::uint64_t argument) {
    unsigned int size = 0;
    if (argument < 24) {
        return byte(kind | static_cast<unsigned int>(argument));
    }
    while (size < 3 && argument >> (8U << size) != 0) {
        ++size;
    }
    byte(kind | (24 + size));
    for (unsigned int shift = 8U << size; shift > 0; shift -= 8) {
        byte(static_cast<unsigned char>(argument >> (shift - 8)));
    }
}

// Adds a value to the innermost container, which then owns it.
void Expectation::add(Value* value) {
    bool hasFailed = false;
    if (containers_.empty()) {
        tree_.reset(value);
    } else if (containers_.back()->isArray()) {
        hasFailed = containers_.back()->getEditableArray()->add(value);
    } else {
        hasFailed = containers_.back()->getEditableDictionary()->set(keys_.back(), value);
    }
    require(!hasFailed, "a value can be added to a tree");
}

/// The functions that Boost.JSON calls. Strings arrive in parts.
struct Handler {
    static constexpr std::size_t UNLIMITED = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = UNLIMITED;
    static constexpr std::size_t max_object_size = UNLIMITED;
    static constexpr std::size_t max_string_size = UNLIMITED;
    static constexpr std::size_t max_key_size = UNLIMITED;
    using Error = json::error_code;
    using View = json::string_view;

    bool on_document_begin(Error&) { return true; }
    bool on_document_end(Error&) { return true; }
    bool on_array_begin(Error&) { return expected.open(false), true; }
    bool on_array_end(std::size_t, Error&) { return expected.close(), true; }
    bool on_object_begin(Error&) { return expected.open(true), true; }
    bool on_object_end(std::size_t, Error&) { return expected.close(), true; }
    bool on_string_part(View part, std::size_t, Error&) { return append(part); }
    bool on_string(View part, std::size_t, Error&) {
        append(part);
        expected.string(text);
        text.clear();
        return true;
    }
    bool on_key_part(View part, std::size_t, Error&) { return append(part); }
    bool on_key(View part, std::size_t, Error&) {
        append(part);
        expected.key(text);
        text.clear();
        return true;
    }
    bool on_number_part(View, Error&) { return true; }
    bool on_int64(std::int64_t, View digits, Error&) { return number(digits); }
    bool on_uint64(std::uint64_t, View digits, Error&) { return number(digits); }
    bool on_double(double, View digits, Error&) { return number(digits); }
    bool on_bool(bool value, Error&) { return expected.boolean(value), true; }
    bool on_null(Error&) { return expected.null(), true; }
    bool on_comment_part(View, Error&) { return false; }
    bool on_comment(View, Error&) { return false; }

    bool append(View part) {
        text.append(part.data(), part.size());
        return true;
    }
    bool number(View digits) {
        expected.number({digits.data(), digits.size()});
        return true;
    }

    Expectation expected;
    std::string text;
};

using Parser = json::basic_parser<Handler>;

// Replaces the exponent at a position by a smaller one that has the same effect: the result is also
// infinite or 0, because a text of limited length has too few digits to make up for it.
void shortenExponent(std::string& text, std::size_t position) {
    constexpr char const* DIGITS = "0123456789";
    static_assert(LONGEST < 100'000, "a mantissa has fewer digits than the exponent is large");
    const std::size_t begin = text.find_last_not_of(DIGITS, position) + 1;
    const std::size_t end = std::min(text.find_first_not_of(DIGITS, position), text.size());
    text.replace(begin, end - begin, "100000");
}

// Returns a parser that has read the text, or null if Boost.JSON refuses it. Boost.JSON also
// refuses exponents that do not fit an int; they are shortened first.
std::unique_ptr<Parser> parsed(std::string text) {
    json::parse_options options;
    options.max_depth = std::numeric_limits<std::size_t>::max();
    for (;;) {
        auto parser = std::make_unique<Parser>(options);
        json::error_code error;
        const std::size_t read = parser->write_some(false, text.data(), text.size(), error);
        if (error == json::error::exponent_overflow) {
            shortenExponent(text, read);
            continue;
        }
        const bool isRead = !error && parser->done() && read == text.size();
        return isRead ? std::move(parser) : nullptr;
    }
}

void requireRefusedFor(const Expectation& expected) {
    const zel::ErrorStorage& error = zel::ErrorStorage::current();
    const std::string rule = expected.rule();
    const bool isNamed = error.reason().find("expected " + rule) != std::string::npos;
    requireEqual(isNamed ? rule : error.reason(), rule, "the reason names the rule");
    require((error.number() == util::serializer::NestingTooDeep) == expected.isOnlyTooDeep(),
            "the number of the error is that of the rule");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text(reinterpret_cast<char const*>(data), std::min(size, LONGEST));
    zel::ErrorStorage::current().acknowledge();  // so that no former reason is read
    const auto parser = parsed(text);
    const kova::test::Tree tree = kova::test::parseTree(text);
    const auto read = converted(JsonReader(), text, BinaryWriter());
    require(read.has_value() == (tree != nullptr), "both readers accept the same texts");
    if (!parser) {
        require(!read, "a text that Boost.JSON refuses is refused");
        return 0;
    }
    const Expectation& expected = parser->handler().expected;
    if (expected.rule() != nullptr) {
        require(!read, expected.rule());
        requireRefusedFor(expected);
        return 0;
    }
    require(read.has_value(), "a text without a mistake is accepted");
    requireEqual(payloads::toHex(*read), payloads::toHex(expected.bytes()),
                 "the text has the value that Boost.JSON finds");
    require(*tree == expected.tree(), "the tree has the values that Boost.JSON finds");
    return 0;
}
