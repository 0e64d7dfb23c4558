// JSON texts: parsing the text of a parsed tree produces an equal tree. The parser accepts the same
// texts whether it creates narrow or unicode strings.
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
    require(again != nullptr, "the text of a tree can be parsed");
    require(*again == *tree, "parsing the text of a tree produces an equal tree");
    requireEqual(again->toJson(compact), text, "equal trees have the same text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<char const*>(data), size);
    JSONParser parser(false);
    const Tree tree(parser.parseValue(text));
    const Tree unicode(JSONParser(true).parseValue(text));
    require((tree == nullptr) == (unicode == nullptr),
            "the parser accepts the same texts for both kinds of strings");
    if (!tree) {
        require(parser.reason() != nullptr && *parser.reason() != '\0', "a rejection has a reason");
        return 0;
    }
    checkPrint(tree, true);
    checkPrint(tree, false);
    requireEqual(unicode->toJson(true), tree->toJson(true),
                 "trees with both kinds of strings have the same text");
    const Tree copy(tree->clone());
    require(*copy == *tree, "a clone is equal");
    return 0;
}
