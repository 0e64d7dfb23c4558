#include "kova/kit/values/SchemaWriter.h"

#include "Formats.h"
#include "kova/core/GenericObject.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/kit/Schema.h"

// The JSON Schema of types.
namespace kova::kit {
namespace {

enum class Mode { off, on };
KOVA_ENUM(Mode, off, as("ON", on))
enum class Source { other, usb };
KOVA_ENUM(Source, fallback(other), usb)

struct Volume {
    int level = 0;
    bool muted = false;
    std::optional<Mode> mode;
};
KOVA_FIELDS(Volume, level, optional(muted), mode)

struct Node {
    std::vector<Node> children;
    std::chrono::milliseconds at{};
    Volume volume;
    Volume other;
};
KOVA_FIELDS(Node, strict(), optional(children), count(at), volume, other)

namespace inner {
struct Volume {
    kova::kit::Volume outer;
};
KOVA_FIELDS(Volume, outer)
}  // namespace inner

constexpr char const* BEGIN = R"({"$schema":"https://json-schema.org/draft/2020-12/schema")";
constexpr char const* VOLUME =
    R"("Volume":{"type":"object","properties":{)"
    R"("level":{"type":"integer","minimum":-2147483648,"maximum":2147483647},)"
    R"("muted":{"type":"boolean"},)"
    R"("mode":{"anyOf":[{"type":"string","enum":["off","ON"]},{"type":"null"}]}},)"
    R"("required":["level"]})";

template <typename T>
std::string schema() {
    const Payload payload = schemaOf<T>();
    EXPECT_EQ(payload.getMimeType(), mimetypes::JSON_TYPE);
    std::string text(reinterpret_cast<char const*>(payload.data()), payload.size());
    const std::string begin = BEGIN;
    EXPECT_EQ(text.substr(0, begin.size()), begin);
    // Removes the common beginning, the comma after it, and the last brace.
    text.erase(0, begin.size() + 1);
    return text.empty() ? text : text.substr(0, text.size() - 1);
}

struct Row {
    std::string schema;
    std::string expected;
};

TEST(SchemaWriterTest, DescribesEveryKindOfType) {
    const Row rows[] = {
        {schema<bool>(), R"("type":"boolean")"},
        {schema<std::int8_t>(), R"("type":"integer","minimum":-128,"maximum":127)"},
        {schema<std::uint64_t>(), R"("type":"integer","minimum":0,"maximum":18446744073709551615)"},
        {schema<float>(), R"("type":"number")"},
        {schema<std::string>(), R"("type":"string")"},
        {schema<std::monostate>(), R"("type":"null")"},
        {schema<dovglobals::Date>(), R"("type":"string","description":"a date")"},
        {schema<std::chrono::hours>(), R"("type":"string","description":"a duration")"},
        {schema<Mode>(), R"("type":"string","enum":["off","ON"])"},
        {schema<Source>(), R"("type":"string","examples":["other","usb"])"},
        {schema<std::optional<bool>>(), R"("anyOf":[{"type":"boolean"},{"type":"null"}])"},
        {schema<std::vector<bool>>(), R"("type":"array","items":{"type":"boolean"})"},
        {schema<std::array<bool, 3>>(),
         R"("type":"array","items":{"type":"boolean"},"minItems":3,"maxItems":3)"},
        {schema<std::map<std::string, bool>>(),
         R"("type":"object","additionalProperties":{"type":"boolean"})"},
        {schema<Blob>(), R"("type":"array","items":{"type":"integer","minimum":0,"maximum":255})"},
        {schema<GenericObject>(), R"("type":"object")"},
        {schema<Payload>(), ""},
        {schema<Tree>(), ""}};
    for (const Row& row : rows) {
        EXPECT_EQ(row.schema, row.expected);
    }
}

TEST(SchemaWriterTest, StructsAreWrittenAsDefinitions) {
    EXPECT_EQ(schema<Volume>(), R"("$ref":"#/$defs/Volume","$defs":{)" + std::string(VOLUME) + "}");
    EXPECT_EQ(schema<Node>(),
              R"("$ref":"#/$defs/Node","$defs":{"Node":{"type":"object","properties":{)"
              R"("children":{"type":"array","items":{"$ref":"#/$defs/Node"}},)"
              R"("at":{"type":"integer","minimum":-9223372036854775808,)"
              R"("maximum":9223372036854775807},)"
              R"("volume":{"$ref":"#/$defs/Volume"},"other":{"$ref":"#/$defs/Volume"}},)"
              R"("required":["at","volume","other"],"additionalProperties":false},)" +
                  std::string(VOLUME) + "}");
}

TEST(SchemaWriterTest, StructsWithTheSameNameAreNumbered) {
    EXPECT_EQ(schema<inner::Volume>().rfind(
                  R"("$ref":"#/$defs/Volume","$defs":{"Volume":{"type":"object","properties":{)"
                  R"("outer":{"$ref":"#/$defs/Volume2"}},"required":["outer"]},"Volume2":{)",
                  0),
              0U);
}

TEST(SchemaWriterTest, VariantsAreWrittenAsTheirAlternatives) {
    using Variant = std::variant<Mode, bool, std::monostate>;
    EXPECT_EQ(schema<Variant>(),
              R"("anyOf":[{"type":"object","properties":{"Mode":{"type":"string",)"
              R"("enum":["off","ON"]}},"required":["Mode"],"additionalProperties":false},)"
              R"({"type":"boolean"},{"type":"null"}])");
}

}  // namespace
}  // namespace kova::kit
