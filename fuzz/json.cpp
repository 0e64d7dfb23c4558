// JSON text: a tree that was read prints as a text that reads as the same tree, and both kinds of
// strings read the same texts.
#include "support/Fuzz.h"
#include "support/Trees.h"

using fuzz::require;
using fuzz::requireEqual;
using kova::test::Tree;
using util::config::JSONParser;

namespace {

void checkPrint(const Tree& tree, bool compact) {
    const std::string text = tree->toJson(compact);
    const Tree again = kova::test::parseTree(text);
    require(again != nullptr, "what was printed is read");
    require(*again == *tree, "a printed tree reads as an equal one");
    requireEqual(again->toJson(compact), text, "equal trees print the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<char const*>(data), size);
    JSONParser parser(false);
    const Tree tree(parser.parseValue(text));
    const Tree unicode(JSONParser(true).parseValue(text));
    require((tree == nullptr) == (unicode == nullptr), "both kinds of strings read the same texts");
    if (!tree) {
        require(parser.reason() != nullptr && *parser.reason() != '\0', "a refusal has its reason");
        return 0;
    }
    checkPrint(tree, true);
    checkPrint(tree, false);
    requireEqual(unicode->toJson(true), tree->toJson(true), "both kinds of strings print the same");
    const Tree copy(tree->clone());
    require(*copy == *tree, "a clone is equal");
    return 0;
}
