// The words decode and encode: payloads between the binary format and JSON.
#include <CLI/CLI.hpp>
#include <limits>
#include <memory>

#include "ExitStatus.h"
#include "PayloadInput.h"
#include "PayloadOutput.h"
#include "Report.h"
#include "Words.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

// Returns a payload in another format. The reason of a failure has the position in `payload`.
kit::Result<Payload> converted(const Payload& payload, const std::string& type) {
    constexpr std::size_t UNLIMITED = std::numeric_limits<std::size_t>::max();
    kit::Limits limits;
    limits.elements = limits.textBytes = UNLIMITED;
    const auto tree = kit::fromPayload<kit::Tree>(payload, limits);
    if (!tree) {
        return tree.error();
    }
    if (type == mimetypes::JSON_TYPE) {  // the text keeps the order of the fields
        const auto text = kit::plainText(payload);
        return text ? Payload::createFromJSON(*text)
                    : kit::Result<Payload>(kit::Error{400, "a text in it is not UTF-8"});
    }
    return kit::toPayload(*tree, type);
}

int convert(const Context& context, const std::string& file, char const* from, char const* to) {
    const auto bytes = readBytes(file, context);
    if (!bytes) {
        return misused(context, bytes.error());
    }
    const Payload payload = Payload::createFromRaw(
        reinterpret_cast<unsigned char const*>(bytes->data()), bytes->size(), from);
    const auto result = converted(payload, to);
    if (!result) {
        const std::string name = file == "-" ? "standard input" : file;
        return misused(context, {400, name + ": " + result.error().message});
    }
    PayloadForm form;
    form.binary = true;
    return printPayload(context, *result, form);
}

void addConversion(Words& words, char const* name, char const* summary, char const* from,
                   char const* to, const std::vector<std::string>& examples) {
    const auto file = std::make_shared<std::string>("-");
    CLI::App& word = words.add(name, summary, examples);
    word.add_option("FILE", *file, "the payload; - or nothing for standard input")->type_name("");
    words.onSelected(word, [file, from, to](const Context& context) {
        return convert(context, *file, from, to);
    });
}

}  // namespace

void addPayloads(Words& words) {
    addConversion(words, "decode", "Converts a payload in the binary format to JSON",
                  mimetypes::AXOBIN_TYPE, mimetypes::JSON_TYPE,
                  {"kova decode payload.bin",
                   "kova get --to unix:player.sock /level --binary | kova decode"});
    addConversion(words, "encode", "Converts JSON to a payload in the binary format",
                  mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE,
                  {"kova encode track.json > track.bin", "echo '[1, 2]' | kova encode | xxd"});
}

}  // namespace kova::tool
