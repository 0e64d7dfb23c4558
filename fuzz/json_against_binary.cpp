// Both formats represent the same documents: JSON that is converted to the binary format and back
// is unchanged, and so is a binary payload that JSON can represent.
#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/Trees.h"

using namespace fuzz;

namespace {

void checkJson(std::string_view text) {
    const auto json = converted(JsonReader(), text, JsonWriter(true));
    const auto binary = converted(JsonReader(), text, BinaryWriter());
    const kova::test::Tree tree = kova::test::parseTree(std::string(text));
    require(json.has_value() == binary.has_value(), "both serializers accept the same texts");
    require(json.has_value() == (tree != nullptr), "the parser accepts the same texts");
    if (json) {
        const auto back = converted(BinaryReader(), *binary, JsonWriter(true));
        require(back == json, "JSON survives a conversion to the binary format and back");
        require(*kova::test::parseTree(*json) == *tree, "converted JSON represents the same tree");
    }
}

void checkBinary(std::string_view payload) {
    const auto json = converted(BinaryReader(), payload, JsonWriter(true));
    if (json) {
        const auto binary = converted(JsonReader(), *json, BinaryWriter());
        require(binary.has_value(), "JSON that was written can be read");
        const auto back = converted(BinaryReader(), *binary, JsonWriter(true));
        require(back == json, "a binary payload survives a conversion to JSON and back");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<char const*>(data), size);
    checkJson(input);
    checkBinary(input);
    return 0;
}
