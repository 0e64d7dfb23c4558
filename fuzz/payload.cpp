// Payloads: bytes of every mime type are converted to texts and trees, and a tree from one format
// can be written and read in the others.
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
    require(again && *again == tree, "a payload of a tree contains an equal tree");
    // Integers above the signed range are read back as negative ones. Reading again does not change
    // them.
    const Tree json = throughFormat(mimetypes::JSON, mimetypes::JSON_TYPE, tree);
    const Tree binary = throughFormat(mimetypes::AXOBin, mimetypes::AXOBIN_TYPE, tree);
    require(*json == *binary, "both formats represent the same tree");
    require(*throughFormat(mimetypes::JSON, mimetypes::JSON_TYPE, *json) == *json,
            "a second round trip does not change the tree");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const Payload payload = anyPayload(input);
    const bool isBinary = payload.getMimeType() == mimetypes::AXOBIN_TYPE;
    std::string text;
    const bool failed = Payload::createStringFrom(payload, text, true);
    require(failed == (text == "<failed>" && isBinary),
            "createStringFrom fails for binary payloads only, with <failed>");
    require(Request("update", "/a", payload).toString().find("payload='") != text.npos,
            "the text of a request contains its payload");
    require(Response(200, payload).toString().rfind("sc=200", 0) == 0,
            "the text of a response begins with its status");
    const Tree tree(Payload::createConfigFrom(payload));
    require(takeReports() <= 1, "an unreadable payload is reported at most once");
    if (tree) {
        checkTree(*tree);
    }
    return 0;
}
