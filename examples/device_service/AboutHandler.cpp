#include "AboutHandler.h"

#include "Replies.h"
#include "kova/core/Commands.h"
#include "kova/core/GenericObject.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"
#include "util/config/Scalars.h"

namespace device {

namespace {

using kova::statuscodes::OK;

kova::Response listOf(const kova::Request& request, const std::vector<std::string>& texts) {
    const std::unique_ptr<util::config::Array> list(kova::toGeneric(texts));
    return makeResponse(request, OK, *list);
}

// Puts the sender's identity into the payload and the request's properties into the header, as any
// service can do to make its responses traceable. The token itself is secret and not included.
kova::Response describe(const kova::Request& request) {
    using util::config::ValueString;
    const kova::RequestInfo info(request);
    std::string token;
    const bool anonymous = request.getHeaderValue(kova::headers::AUTH_TOKEN).get(token);
    const kova::GenericObject seen{{"client", new ValueString(info.getClientId())},
                                   {"service", new ValueString(info.getServicePath())},
                                   {"token", new ValueString(anonymous ? "none" : "given")}};
    kova::Response response = makeResponse(request, OK, seen);
    kova::headers::appendRequestInfo(info, response);
    return response;
}

}  // namespace

void* AboutHandler::actionRequest(const kova::Request& request,
                                  std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                                  const std::string& resourcePath) {
    if (request.getCommand() != kova::commands::RETRIEVE) {
        refuseCommand(*handler, request);
    } else {
        answer(*handler, respond(request, resourcePath));
    }
    return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

void AboutHandler::cancelRequest(void* /*handle*/) {
    // There is nothing to cancel, because no request is ever pending.
}

kova::Response AboutHandler::respond(const kova::Request& request,
                                     const std::string& resourcePath) const {
    if (resourcePath.empty()) {
        return listOf(request, {"request", "versions"});
    }
    if (resourcePath == "request") {
        return describe(request);
    }
    return resourcePath == "versions" ? listOf(request, versions_) : notFound(request);
}

}  // namespace device
