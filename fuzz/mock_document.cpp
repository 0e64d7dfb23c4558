// OpenAPI documents for `kova mock`, both whole ones and ones with a hostile schema. A document is
// refused with a reason of one line, or it describes a service within the limits: the values that
// the mock returns first satisfy their schemas, and a request with a path's own texts matches this
// path.
#include "MockDocument.h"

#include <algorithm>
#include <string>
#include <vector>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Values.h"
#include "support/Fuzz.h"

using fuzz::require;
using namespace kova;
using tool::MockDocument;
using tool::MockMethod;
using tool::MockPath;
using tool::MockSegment;

namespace {

void checkReason(const kit::Error& error) {
    require(error.code == statuscodes::BAD_REQUEST, "a refusal has the code 400");
    require(!error.message.empty(), "a refusal has a reason");
    for (const char c : error.message) {
        require(static_cast<unsigned char>(c) >= ' ', "the reason is one line");
    }
}

void checkMethod(const MockDocument& document, const MockMethod& method) {
    if (method.value == nullptr) {
        require(method.first.size() == 0, "an answer without a value has no first value");
        return;
    }
    const auto first = kit::fromPayload<kit::Tree>(method.first);
    require(bool(first), "the first value is JSON");
    require(bool(document.rules().check(*method.value, **first)),
            "the first value satisfies its schema");
}

void checkPath(const MockDocument& document, const MockPath& path) {
    require(path.segments.size() <= MockDocument::MOST_SEGMENTS, "a path has a limited length");
    require(path.owner < document.paths().size(), "the owner of a value is a path");
    for (const auto& method : path.methods) {
        checkMethod(document, method.second);
    }
    std::vector<std::string> request;
    bool isLiteral = true;
    for (const MockSegment& segment : path.segments) {
        request.push_back(segment.text);
        isLiteral = isLiteral && segment.kind == MockSegment::Kind::literal;
    }
    const auto found = document.match(request);
    const bool isFound = std::find(found.begin(), found.end(), &path) != found.end();
    require(isFound || !isLiteral, "the texts of a path match the path");
}

void checkDocument(const std::string& text) {
    const auto document = MockDocument::parse(text);
    if (!document) {
        checkReason(document.error());
        return;
    }
    require(document->text() == text, "the text is that of the document");
    require(document->paths().size() <= MockDocument::MOST_PATHS, "the paths are limited");
    for (const MockPath& path : document->paths()) {
        checkPath(*document, path);
    }
    require(bool(kit::toPayload(document->mount())), "the operations can be shown");
}

// Returns a document in which the text is the schema of a parameter, of a body, of a value, and of
// a component to which schemas can refer.
std::string documentWith(const std::string& schema) {
    const std::string member = R"({"schema":)" + schema + "}";
    const std::string content = R"({"content":{"application/json":)" + member + "}}";
    return R"({"openapi":"3.1.0","paths":{"/a/{b}":{"parameters":[{"in":"path","name":"b","schema":)" +
           schema + R"(}],"put":{"requestBody":)" + content +
           R"(,"responses":{"204":{}}},"get":{"responses":{"200":)" + content +
           R"(}}},"/a":{"get":{"responses":{"200":{"content":{"application/json":{"schema":)" +
           R"({"$ref":"#/components/schemas/A"}}}}}}}},"components":{"schemas":{"A":)" + schema +
           "}}}";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text(reinterpret_cast<char const*>(data), size);
    checkDocument(text);
    checkDocument(documentWith(text));
    return 0;
}
