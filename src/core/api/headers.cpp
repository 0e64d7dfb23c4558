#include "kova/core/headers.h"

#include "api/MessageHeader.h"
#include "osal/Environment.h"

namespace kova::headers {

namespace {

struct AgentToken {
    bool isSet = false;
    std::string text;
};

// Never destroyed: requests may still be sent while the process ends.
AgentToken& agentToken() {
    static auto* const token = new AgentToken();
    return *token;
}

template <typename Message>
void append(Message& message, char const* key, const std::string& text) {
    message.add2header(key, detail::messageheader::makeString(text));
}

template <typename Message>
void appendUnlessEmpty(Message& message, char const* key, const std::string& text) {
    if (!text.empty()) {
        append(message, key, text);
    }
}

}  // namespace

void appendRequestInfo(const RequestInfo& info, Response& response) {
    appendUnlessEmpty(response, REQUEST_COMMAND, info.getCommand());
    appendUnlessEmpty(response, REQUEST_PATH, info.getPath());
    appendUnlessEmpty(response, SERVICE_PATH, info.getServicePath());
    appendUnlessEmpty(response, CLIENT_ID, info.getClientId());
}

void appendTracingInfo(Request& request, const std::string& servicePath,
                       const std::string& clientId) {
    append(request, CLIENT_ID, clientId);
    append(request, SERVICE_PATH, servicePath);
}

void appendResponseSemantic(Request& request, const std::string& semantic) {
    append(request, RESPONSE_SEMANTIC, semantic);
}

void setAgt(const std::string& agt) {
    AgentToken& token = agentToken();
    if (!token.isSet) {
        token.isSet = true;
        token.text = agt.empty() ? osal::Environment::getVariable("ZEL_CONFIG_KOVA_AGT") : agt;
    }
}

void appendAuthInfo(Request& request) {
    appendUnlessEmpty(request, AUTH_TOKEN, agentToken().text);
}

}  // namespace kova::headers
