#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"
#include "util/config/Scalars.h"

namespace kova::test {

/// Deletes a node unless it is a shared one.
struct DestroyValue {
    void operator()(util::config::Value* value) const {
        using util::config::Value;
        if (value != Value::getNull() && value != Value::getBool(false) &&
            value != Value::getBool(true) && value != &Value::getUndefined()) {
            delete value;
        }
    }
};
/// Owns a tree whose root may be a shared node.
using Tree = std::unique_ptr<util::config::Value, DestroyValue>;

#if __has_include("util/TreeExtensions.h")
/// Parses a JSON text. Returns null if it is invalid.
inline Tree parseTree(const std::string& text) {
    return Tree(util::config::JSONParser(false).parseValue(text));
}

/// Adds a field to a dictionary.
inline void addField(util::config::Dictionary& dictionary, const std::string& name,
                     util::config::Value* value) {
    dictionary.add(name, value);
}
#else
// Parsers of other platforms accept only objects and arrays, and a zero byte ends a name.

inline Tree parseTree(const std::string& text) {
    util::config::Dictionary* dictionary = nullptr;
    util::config::Array* array = nullptr;
    const std::string wrapped = "[" + text + "]";
    if (util::config::JSONParser(false).parseString(wrapped.c_str(), &dictionary, &array)) {
        return nullptr;
    }
    const Tree owner(array);
    return Tree(array->arraySize() == 1 ? (*array)[0].clone() : nullptr);
}

inline void addField(util::config::Dictionary& dictionary, const std::string& name,
                     util::config::Value* value) {
    dictionary.set(name.c_str(), value);
}
#endif

/// Returns the node as compact JSON text.
inline std::string toJson(const util::config::Value& value) {
    const bool former = util::config::Value::g_print_compact;
    std::ostringstream out;
    util::config::Value::g_print_compact = true;
    value.print(out);
    util::config::Value::g_print_compact = former;
    return out.str();
}

/// Returns the number of entries of a dictionary.
inline std::size_t entryCount(const util::config::Value& dictionary) {
    std::size_t count = 0;
    for (auto entry = dictionary.begin(); entry != dictionary.end(); ++entry) {
        ++count;
    }
    return count;
}

/// Returns the integer 1 inside `levels` nested containers, alternately arrays and dictionaries.
inline Tree deepTree(std::size_t levels) {
    util::config::Value* tree = new util::config::ValueInt(1);
    for (std::size_t i = 0; i < levels; ++i) {
        if (i % 2 == 0) {
            auto* array = new util::config::Array;
            array->add(std::exchange(tree, array));
        } else {
            auto* dictionary = new util::config::Dictionary;
            dictionary->add("k", std::exchange(tree, dictionary));
        }
    }
    return Tree(tree);
}

/// A generator of random trees. The same seed produces the same trees on every machine.
class RandomTrees {
public:
    explicit RandomTrees(std::uint64_t seed) : random_(seed) {}

    /// Returns an array or dictionary of at most `depth` levels. Strings are UTF-8, floats finite.
    Tree next(int depth = 5) { return Tree(container(depth)); }

private:
    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }

    util::config::Value* container(int depth) {
        const std::uint64_t count = below(8);
        if (below(2) == 0) {
            auto* array = new util::config::Array;
            for (std::uint64_t i = 0; i < count; ++i) {
                array->add(value(depth - 1));
            }
            return array;
        }
        auto* dictionary = new util::config::Dictionary;
        for (std::uint64_t i = 0; i < count; ++i) {
            addField(*dictionary, text(), value(depth - 1));
        }
        return dictionary;
    }

    util::config::Value* value(int depth) {
        switch (below(depth > 0 ? 9 : 6)) {
            case 0:
                return util::config::Value::getNull();
            case 1:
                return util::config::Value::getBool(below(2) == 0);
            case 2:
                return new util::config::ValueInt(static_cast<long>(random_() >> below(64)));
            case 3:
                return new util::config::ValueInt(static_cast<unsigned long>(random_()));
            case 4:
                return new util::config::ValueFloat(number());
            case 5:
                return new util::config::ValueString(text());
            default:
                return container(depth);
        }
    }

    // Returns a double with any finite bit pattern, subnormal numbers included.
    double number() {
        std::uint64_t bits = random_();
        if ((bits >> 52U & 0x7FFU) == 0x7FFU) {
            bits ^= std::uint64_t{1} << 62U;
        }
        double result = 0;
        std::memcpy(&result, &bits, sizeof result);
        return result;
    }

    std::string text() {
        static const char* const PIECES[] = {"a", "key", "\"",         "\\",
                                             "/", "\n",  "\x01",       "\x7F",
                                             "é", "€",   "\U0001F600", "a long run of plain text "};
        std::string result;
        for (std::uint64_t n = below(6); n > 0; --n) {
            const std::uint64_t piece = below(std::size(PIECES) + 1);
            result += piece == std::size(PIECES) ? std::string(1, '\0') : PIECES[piece];
        }
        return result;
    }

    std::mt19937_64 random_;
};

}  // namespace kova::test

namespace util::config {

/// Prints a node in the message of a failed test.
inline void PrintTo(const Value& value, std::ostream* out) {
    *out << kova::test::toJson(value);
}

}  // namespace util::config
