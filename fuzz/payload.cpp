// Payloads: bytes of every mime type become texts and trees, and a tree that came out of one goes
// through all the others.
#include "kova/core/Payload.h"

#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "support/Formats.h"
#include "support/Fuzz.h"

using namespace fuzz;
using namespace kova;
using kova::test::Tree;

namespace {

void checkTree(util::config::Value& tree) {
    const Tree again(Payload::createConfigFrom(Payload::createFromConfig(tree)));
    require(again && *again == tree, "a tree comes back from its print");
    // Integers above the signed range arrive as negative ones; a second time changes nothing.
    const Tree json = throughFormat(mimetypes::JSON, mimetypes::JSON_TYPE, tree);
    const Tree binary = throughFormat(mimetypes::AXOBin, mimetypes::AXOBIN_TYPE, tree);
    require(*json == *binary, "both formats carry the same tree");
    require(*throughFormat(mimetypes::JSON, mimetypes::JSON_TYPE, *json) == *json, "again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const Payload payload = anyPayload(input);
    const bool isBinary = payload.getMimeType() == mimetypes::AXOBIN_TYPE;
    std::string text;
    const bool failed = Payload::createStringFrom(payload, text, true);
    require(failed == (text == "<failed>" && isBinary), "a text, or <failed>");
    require(Request("update", "/a", payload).toString().find("payload='") != text.npos, "printed");
    require(Response(200, payload).toString().rfind("sc=200", 0) == 0, "printed");
    const Tree tree(Payload::createConfigFrom(payload));
    require(takeReports() <= 1, "a payload without a tree is reported once at most");
    if (tree) {
        checkTree(*tree);
    }
    return 0;
}
