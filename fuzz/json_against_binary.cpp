// A document says the same in both formats: JSON that goes through the binary format comes back,
// and so does a binary payload that JSON can express.
#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/Trees.h"

using namespace fuzz;

namespace {

void checkJson(std::string_view text) {
    const auto json = converted(JsonReader(), text, JsonWriter(true));
    const auto binary = converted(JsonReader(), text, BinaryWriter());
    const kova::test::Tree tree = kova::test::parseTree(std::string(text));
    require(json.has_value() == binary.has_value(), "both formats take the same texts");
    require(json.has_value() == (tree != nullptr), "the parser of trees takes the same texts");
    if (json) {
        const auto back = converted(BinaryReader(), *binary, JsonWriter(true));
        require(back == json, "JSON comes back from the binary format");
        require(*kova::test::parseTree(*json) == *tree, "JSON says what the tree says");
    }
}

void checkBinary(std::string_view payload) {
    const auto json = converted(BinaryReader(), payload, JsonWriter(true));
    if (json) {
        const auto binary = converted(JsonReader(), *json, BinaryWriter());
        require(binary.has_value(), "JSON that was written is read");
        const auto back = converted(BinaryReader(), *binary, JsonWriter(true));
        require(back == json, "a binary payload comes back as the same JSON");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<char const*>(data), size);
    checkJson(input);
    checkBinary(input);
    return 0;
}
