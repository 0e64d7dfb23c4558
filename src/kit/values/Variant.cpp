#include "kova/kit/values/Variant.h"

namespace kova::kit::detail {

char const* wordsOf(Kind kind) noexcept {
    switch (kind) {
        case Kind::Null:
            return "null";
        case Kind::Boolean:
            return "a boolean";
        case Kind::Number:
            return "a number";
        case Kind::Text:
            return "a string";
        case Kind::Array:
            return "an array";
        case Kind::Object:
            return "a struct";
        case Kind::None:
            break;
    }
    return "another value";
}

std::string listOf(const Alternative* alternatives, std::size_t size) {
    std::string text = size == 1 ? "" : "one of ";
    for (std::size_t i = 0; i < size; ++i) {
        text += i == 0 ? "" : ", ";
        text += alternatives[i].name.empty()
                    ? wordsOf(alternatives[i].kind)
                    : "a struct with the field " + State::quoted(alternatives[i].name);
    }
    return text;
}

std::size_t findAlternative(const Alternative* alternatives, std::size_t size,
                            std::string_view name, Kind kind) noexcept {
    for (std::size_t i = 0; i < size; ++i) {
        if (alternatives[i].name == name && alternatives[i].kind == kind) {
            return i;
        }
    }
    return size;
}

}  // namespace kova::kit::detail
