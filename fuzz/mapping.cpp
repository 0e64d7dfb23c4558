// An HTTP request is either mapped to requests with valid paths, whose responses can be mapped to
// HTTP, or it is answered with an error. Every answer is valid HTTP.
#include "foreign/Mapping.h"

#include <memory>
#include <variant>

#include "foreign/JsonText.h"
#include "foreign/Replies.h"
#include "support/Fuzz.h"

using namespace fuzz;
using namespace kova::http::detail;

namespace {

void checkReply(const HttpReply& reply) {
    require(reply.status >= 200 && reply.status <= 599, "an answer has a status of HTTP");
    for (const Field& field : reply.fields) {
        require(isFieldValue(field.value), "a field has no control characters");
    }
    const bool isProblem = findField(reply.fields, "Content-Type") == PROBLEM_TYPE;
    require(!isProblem || oneLine(bytesOf(reply.body)).has_value(), "a problem document is JSON");
}

void checkCall(const ForeignCall& call, const HttpRequest& request) {
    require(!call.parts.empty() && call.parts.size() <= MAX_WATCHES, "a call has its parts");
    require(call.isWatch || call.parts.size() == 1, "only a watch has several parts");
    for (const ForeignCall::Part& part : call.parts) {
        require(part.request.getPath().rfind('/', 0) == 0, "a path is absolute");
        require(part.request.getPath().find('\0') == std::string::npos, "a path has no zero byte");
        require(!request.body || bytesOf(part.request.getPayload()) == *request.body,
                "the body is the payload");
    }
    checkReply(toReply(kova::Response(200, call.parts[0].request.getPayload()), call.accept));
    kova::Response error(static_cast<unsigned short>(request.target.size()));
    error.setErrorMessage(std::string(request.target).c_str());
    checkReply(toErrorReply(error, call.accept));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string method = input.line();
    const std::string target = input.line();
    HttpRequest request{method, target, {}, nullptr};
    for (std::string line = input.line(); !line.empty(); line = input.line()) {
        const std::size_t colon = std::min(line.find(':'), line.size());
        request.fields.push_back(
            {line.substr(0, colon), line.substr(std::min(colon + 1, line.size()))});
    }
    if (!input.isEmpty()) {
        request.body = std::make_shared<const std::string>(input.rest());
    }
    static_cast<void>(checkOrigin(request.fields, std::nullopt, 80, false));
    static_cast<void>(checkFraming(request.fields));
    const std::variant<ForeignCall, HttpReply> result = toCall(request);
    if (auto const* const reply = std::get_if<HttpReply>(&result)) {
        checkReply(*reply);
    } else {
        checkCall(std::get<ForeignCall>(result), request);
    }
    takeReports();
    return 0;
}
