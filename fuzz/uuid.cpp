// Identifiers: exactly the texts of the form are parsed, as a text and as a part of a path. They
// are printed in lower case and can be parsed again.
#include "kova/core/uuid.h"
#include "kova/core/Path.h"
#include "support/Fuzz.h"
#include "support/Reference.h"

using namespace fuzz;
using zel::UUID;

namespace {

bool hasForm(const std::string& text) {
    constexpr char const* FORM = "[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}";
    return !reference::matchExpression(FORM, text).empty();
}

void checkText(const std::string& text) {
    UUID id;
    require(UUID::tryParse(id, text) != hasForm(text),
            "exactly the texts of the form are accepted");
    require(!hasForm(text) || id.toString() == lowerCase(text),
            "identifiers are printed in lower case");
    UUID part;
    const kova::Path path("/a/" + text + "/b");
    require(path.part(1, part) != hasForm(path.at(1)),
            "a part of a path is accepted if it has the form");
    require(part == id || !hasForm(text), "a part of a path is the same identifier");
    UUID again;
    require(!UUID::tryParse(again, id.toString()) && again == id,
            "the text of an identifier can be parsed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text = Input(data, size).rest();
    checkText(text);
    checkText(text.substr(0, UUID::TEXT_LENGTH));
    return 0;
}
