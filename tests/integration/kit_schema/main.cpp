// Writes a test case for each of a few hundred types, as one JSON object per line. A case has the
// schema of the type, JSON texts, and whether `fromPayload` accepts each text as a value of the
// type. `check.py` compares this with the result of a JSON Schema validator.
#include <iostream>

#include "Cases.h"

namespace kova::kit::test {
namespace {

struct Text {
    Payload json;
    bool isAccepted = false;
};
KOVA_FIELDS(Text, json, as("accepted", isAccepted))

struct Case {
    Payload schema;
    std::vector<Text> texts;
};
KOVA_FIELDS(Case, schema, texts)

/// A type: its schema, its values, and whether it accepts a text.
struct Type {
    Payload schema;
    std::vector<Payload> values;
    bool (*accepts)(const Payload&);
};

std::vector<Type> types;

template <typename T>
void add() {
    Type type{schemaOf<T>(), {}, [](const Payload& json) { return fromPayload<T>(json).ok(); }};
    for (unsigned n = 0; n < 3; ++n) {
        type.values.push_back(toPayload(Sample<T>::make(n)).orThrow());
    }
    types.push_back(std::move(type));
}

template <typename T>
void addWrapped() {
    add<List<T>>();
    add<Pair<T>>();
    add<Map<T>>();
    add<One<T>>();
    add<Three<T>>();
    add<Either<T>>();
    if constexpr (!detail::isNullable<T>) {
        add<Maybe<T>>();
    }
}

template <typename T>
void addNested() {
    add<T>();
    addWrapped<T>();
    addWrapped<List<T>>();
    addWrapped<Pair<T>>();
    addWrapped<Map<T>>();
    addWrapped<One<T>>();
    addWrapped<Three<T>>();
    addWrapped<Either<T>>();
    addWrapped<Maybe<T>>();
}

/// Returns the case of a type: its own values, and every 29th value of the other types. Each type
/// begins with another value.
Case caseOf(std::size_t index) {
    const Type& type = types[index];
    Case result{type.schema, {}};
    for (const Payload& value : type.values) {
        result.texts.push_back({value, type.accepts(value)});
    }
    for (std::size_t i = index % 29; i < types.size() * 3; i += 29) {
        const Payload& value = types[i / 3].values[i % 3];
        result.texts.push_back({value, type.accepts(value)});
    }
    return result;
}

}  // namespace
}  // namespace kova::kit::test

int main() {
    using namespace kova::kit;
    using namespace kova::kit::test;
    addNested<bool>();
    addNested<std::int8_t>();
    addNested<double>();
    addNested<std::string>();
    addNested<Mode>();
    for (std::size_t i = 0; i < types.size(); ++i) {
        const kova::Payload line = toPayload(caseOf(i)).orThrow();
        std::cout.write(reinterpret_cast<char const*>(line.data()),
                        static_cast<std::streamsize>(line.size()));
        std::cout << '\n';
    }
}
