#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kova/core/Payload.h"
#include "kova/kit/Tree.h"
#include "kova/kit/values/EnumTable.h"
#include "kova/kit/values/Struct.h"
#include "kova/kit/values/Texts.h"
#include "kova/kit/values/Trees.h"
#include "kova/kit/values/Variant.h"

// The functions that write the JSON Schemas of types.
namespace kova::kit::detail {

class SchemaWriter;

/// A function that writes the members of the schema of a type.
using SchemaFunction = void (*)(SchemaWriter&);

/// A field in the schema of a struct.
struct SchemaField {
    std::string_view name;
    bool isMandatory;
    SchemaFunction write;
};

/// A struct in a schema.
struct SchemaObject {
    std::string_view name;
    const SchemaField* fields;
    std::size_t size;
    bool isStrict;
};

/// Writes a schema as JSON. Each function writes members of the JSON object that is currently open.
class KOVA_KIT_API SchemaWriter {
public:
    static constexpr std::size_t ANY_SIZE = static_cast<std::size_t>(-1);

    explicit SchemaWriter(Writer& out) noexcept : out_(out) {}
    SchemaWriter(const SchemaWriter&) = delete;
    SchemaWriter& operator=(const SchemaWriter&) = delete;

    /// Describes a value of a JSON type.
    void type(char const* name);
    /// Describes an integer from `lowest` to `highest`.
    void integer(std::int64_t lowest, std::uint64_t highest);
    /// Describes a string. `words` names its content, such as "a date".
    void text(char const* words);
    /// Describes a string that is the name of an enumerator.
    void enumeration(const EnumTable& table);
    /// Describes an array of exactly `size` elements, or of any number of elements for `ANY_SIZE`.
    void array(SchemaFunction element, std::size_t size = ANY_SIZE);
    /// Describes an object with any fields.
    void map(SchemaFunction value);
    /// Describes a value that may also be null.
    void nullable(SchemaFunction value);
    /// Describes one of several alternatives.
    void variant(const Alternative* alternatives, const SchemaFunction* functions,
                 std::size_t size);
    /// Writes a reference to the definition of a struct. The address of `object` identifies the
    /// struct.
    void object(const SchemaObject& object);
    /// Writes the definitions of all structs to which the schema refers.
    void definitions();

private:
    struct Definition {
        const SchemaObject* object;
        std::string name;
    };

    KOVA_KIT_LOCAL void open(std::string_view field, SchemaFunction function);
    KOVA_KIT_LOCAL void element(SchemaFunction function);
    KOVA_KIT_LOCAL void field(std::string_view name, std::string_view value);
    KOVA_KIT_LOCAL void field(std::string_view name, std::uint64_t value);
    KOVA_KIT_LOCAL void define(const SchemaObject& object);
    KOVA_KIT_LOCAL std::string unusedName(std::string_view name) const;

    Writer& out_;
    std::vector<Definition> definitions_;
};

/// Returns a schema as a payload. `root` writes the members of the schema.
KOVA_KIT_API Payload writeSchema(SchemaFunction root);

/// Writes the schema of a type. `Form` is the payload form that the description of the field
/// selects.
template <typename T, class Form = PlainForm, typename Enable = void>
struct SchemaOf;

template <>
struct SchemaOf<bool> {
    static void write(SchemaWriter& out) { out.type("boolean"); }
};
template <typename T>
struct SchemaOf<T, PlainForm, std::enable_if_t<isInteger<T>>> {
    static void write(SchemaWriter& out) {
        out.integer(std::numeric_limits<T>::min(),
                    static_cast<std::uint64_t>(std::numeric_limits<T>::max()));
    }
};
template <typename T>
struct SchemaOf<T, PlainForm, std::enable_if_t<std::is_floating_point_v<T>>> {
    static void write(SchemaWriter& out) { out.type("number"); }
};
template <>
struct SchemaOf<std::string> {
    static void write(SchemaWriter& out) { out.type("string"); }
};
template <typename T>
struct SchemaOf<T, PlainForm, std::enable_if_t<textWords<T> != nullptr>> {
    static void write(SchemaWriter& out) { out.text(textWords<T>); }
};
template <typename T>
struct SchemaOf<T, PlainForm, std::enable_if_t<hasEnumerators<T>>> {
    static void write(SchemaWriter& out) { out.enumeration(enumTable<T>); }
};
template <typename Rep, typename Period>
struct SchemaOf<std::chrono::duration<Rep, Period>> {
    static void write(SchemaWriter& out) { out.text(textWords<dovglobals::Duration>); }
};
template <typename Rep, typename Period>
struct SchemaOf<std::chrono::duration<Rep, Period>, CountForm> : SchemaOf<Rep> {};
template <typename Duration>
struct SchemaOf<std::chrono::time_point<std::chrono::system_clock, Duration>> {
    static void write(SchemaWriter& out) { out.text(textWords<dovglobals::DateTime>); }
};
template <typename T, class Form>
struct SchemaOf<std::optional<T>, Form> {
    static void write(SchemaWriter& out) { out.nullable(&SchemaOf<T, Form>::write); }
};
template <typename T>
struct SchemaOf<std::vector<T>> {
    static void write(SchemaWriter& out) { out.array(&SchemaOf<T>::write); }
};
template <typename T, std::size_t N>
struct SchemaOf<std::array<T, N>> {
    static void write(SchemaWriter& out) { out.array(&SchemaOf<T>::write, N); }
};
template <>
struct SchemaOf<Blob> : SchemaOf<std::vector<std::uint8_t>> {};
template <typename T>
struct SchemaOf<std::map<std::string, T>> {
    static void write(SchemaWriter& out) { out.map(&SchemaOf<T>::write); }
};
template <>
struct SchemaOf<std::monostate> {
    static void write(SchemaWriter& out) { out.type("null"); }
};
template <typename... T>
struct SchemaOf<std::variant<T...>> {
    static void write(SchemaWriter& out) {
        constexpr SchemaFunction FUNCTIONS[] = {&SchemaOf<T>::write...};
        out.variant(Codec<std::variant<T...>>::ALTERNATIVES, FUNCTIONS, sizeof...(T));
    }
};
template <>
struct SchemaOf<GenericObject> {
    static void write(SchemaWriter& out) { out.type("object"); }
};

/// The schema of a type that can contain any value.
template <typename T>
struct SchemaOf<T, PlainForm,
                std::enable_if_t<std::is_same_v<T, Payload> || std::is_same_v<T, Tree>>> {
    static void write(SchemaWriter&) {}
};

template <typename T, std::size_t... I>
constexpr std::array<SchemaField, sizeof...(I)> makeSchemaFields(std::index_sequence<I...>) {
    return {{{FieldOf<T, I>::field().name,
              !FieldOf<T, I>::field().isOptional && !isOptional<typename FieldOf<T, I>::Member>,
              &SchemaOf<typename FieldOf<T, I>::Member,
                        typename FieldOf<T, I>::Type::Form>::write}...}};
}

template <typename T>
inline constexpr auto schemaFields = makeSchemaFields<T>(std::make_index_sequence<fieldCount<T>>());

template <typename T>
inline constexpr SchemaObject schemaObject{fieldsOf<T>.name(), schemaFields<T>.data(),
                                           fieldCount<T>, fieldsOf<T>.isStrict()};

template <typename T>
struct SchemaOf<T, PlainForm, std::enable_if_t<hasFields<T>>> {
    static void write(SchemaWriter& out) { out.object(schemaObject<T>); }
};

}  // namespace kova::kit::detail
