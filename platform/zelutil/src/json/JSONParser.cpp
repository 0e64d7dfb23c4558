#include "util/config/JSONParser.h"

#include <simdjson.h>

#include <array>
#include <new>

#include "config/NodeBlocks.h"
#include "config/TreeAssembler.h"
#include "json/JsonDetection.h"
#include "json/Tape.h"

// The JSON library parses the text into a read-only document. `TreeAssembler` creates the tree from
// the document.
namespace util::config {

namespace {

namespace dom = simdjson::dom;

constexpr char const* NO_TEXT = "there is no text";
constexpr char const* OUT_OF_MEMORY = "memory is exhausted";
constexpr char const* TOO_DEEP = "arrays and objects are nested too deeply";

const json::ProcessorDetection DETECTION;

// Returns a table of node sizes, indexed by the kind of the word that begins a value. A key has the
// kind of a string, but it has no node.
template <typename String>
constexpr std::array<std::size_t, 256> nodeSizes() noexcept {
    std::array<std::size_t, 256> sizes{};
    sizes['{'] = NodeBlocks::sizeOf<Dictionary>();
    sizes['['] = NodeBlocks::sizeOf<Array>();
    sizes['"'] = NodeBlocks::sizeOf<String>();
    sizes['d'] = NodeBlocks::sizeOf<ValueFloat>();
    sizes['l'] = NodeBlocks::sizeOf<ValueInt>();
    sizes['u'] = NodeBlocks::sizeOf<ValueInt>();
    return sizes;
}

// Returns the total size of the nodes of the document. If the total exceeds the size of a block,
// the result may be any size that is larger than a block.
template <typename String>
std::size_t totalSize(const Tape& tape) noexcept {
    static constexpr std::array<std::size_t, 256> SIZES = nodeSizes<String>();
    if (tape.size() > NodeBlocks::SIZE / sizeof(Value)) {
        return NodeBlocks::SIZE + 1;
    }
    std::size_t total = 0;
    std::size_t keys = 0;
    for (std::size_t at = Tape::ROOT; at < tape.size(); at = tape.next(at)) {
        const char kind = tape.kind(at);
        total += SIZES[static_cast<unsigned char>(kind)];
        keys += kind == '{' ? tape.count(at) : 0;
    }
    return total - keys * NodeBlocks::sizeOf<String>();
}

}  // namespace

struct JSONParser::State {
    explicit State(bool unicode) noexcept : unicodeStrings(unicode) {}

    dom::parser parser;
    TreeWorkspace workspace;
    bool unicodeStrings;
};

JSONParser::JSONParser(bool unicodeStrings) noexcept
    : state_(new (std::nothrow) State(unicodeStrings)) {}

JSONParser::~JSONParser() = default;

bool JSONParser::parseString(char const* text, Dictionary** dictionary, Array** array) noexcept {
    return parseString(text == nullptr ? std::string_view() : std::string_view(text), dictionary,
                       array);
}

bool JSONParser::parseString(std::string_view text, Dictionary** dictionary,
                             Array** array) noexcept {
    Value* tree = parseValue(text);
    if (tree == nullptr) {
        return true;
    }
    *dictionary = tree->getEditableDictionary();
    *array = tree->getEditableArray();
    if (*dictionary == nullptr && *array == nullptr) {
        Value::destroy(tree);
    }
    return false;
}

Value* JSONParser::parseValue(std::string_view text) noexcept {
    if (state_ == nullptr) {
        return nullptr;
    }
    if (text.empty()) {
        reason_ = NO_TEXT;
        return nullptr;
    }
    const auto document = state_->parser.parse(text.data(), text.size());
    if (document.error() != simdjson::SUCCESS) {
        reason_ = simdjson::error_message(document.error());
        if (document.error() == simdjson::MEMALLOC) {
            // After MEMALLOC the parser wrongly assumes that its buffers have full size, so start
            // over with a new one.
            state_->parser = dom::parser();
        }
        return nullptr;
    }
    const Tape tape(state_->parser.doc);
    const bool unicodeStrings = state_->unicodeStrings;
    NodeBlocks blocks(unicodeStrings ? totalSize<ValueUnicodeString>(tape)
                                     : totalSize<ValueString>(tape));
    TreeAssembler assembler(tape, blocks, state_->workspace, unicodeStrings);
    Value* const tree = assembler.assemble(Tape::ROOT);
    if (tree == nullptr) {
        reason_ = assembler.isTooDeep() ? TOO_DEEP : OUT_OF_MEMORY;
    }
    return tree;
}

char const* JSONParser::reason() const noexcept {
    return reason_;
}

}  // namespace util::config
