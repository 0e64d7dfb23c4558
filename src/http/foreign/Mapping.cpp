#include "foreign/Mapping.h"

#include <algorithm>
#include <utility>

#include "foreign/Replies.h"
#include "foreign/StatusTexts.h"
#include "kova/core/Commands.h"
#include "kova/core/headers.h"
#include "util/config/JSONParser.h"
#include "util/config/Scalars.h"
#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

struct MethodRow {
    std::string_view method;
    char const* command;
};

constexpr MethodRow METHODS[] = {{"GET", commands::RETRIEVE},
                                 {"PUT", commands::UPDATE},
                                 {"POST", commands::INSERT},
                                 {"DELETE", commands::DELETE}};
constexpr char const* ALLOWED_METHODS = "GET, PUT, POST, DELETE";

std::size_t count(const Fields& fields, std::string_view name) {
    return static_cast<std::size_t>(
        std::count_if(fields.begin(), fields.end(),
                      [name](const Field& field) { return equalsIgnoringCase(field.name, name); }));
}

kit::Error badRequest(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

HttpReply refuseMethod() {
    HttpReply reply =
        toReply(kit::Error{METHOD_NOT_ALLOWED, std::string("the methods are ") + ALLOWED_METHODS});
    reply.fields.push_back({"Allow", ALLOWED_METHODS});
    return reply;
}

using Header = Request::Header;

// Returns the header tree of the request. It is null if there are no entries.
kit::Result<Header> treeOf(const Fields& fields) {
    const std::optional<std::string_view> text = findField(fields, TREE_FIELD);
    if (!text) {
        return Header();
    }
    util::config::JSONParser parser(false);
    util::config::Dictionary* dictionary = nullptr;
    util::config::Array* array = nullptr;
    const bool isFailed = parser.parseString(*text, &dictionary, &array);
    Header header(dictionary);
    const std::unique_ptr<util::config::Array> unused(array);
    if (isFailed || !header || count(fields, TREE_FIELD) > 1) {
        return badRequest(std::string("the field '") + TREE_FIELD + "' is not one JSON object" +
                          (isFailed ? std::string(": ") + parser.reason() : ""));
    }
    return header;
}

kit::Result<std::optional<std::string>> tokenOf(const Fields& fields) {
    constexpr std::string_view SCHEME = "Bearer ";
    if (count(fields, "Authorization") > 1) {
        return badRequest("there are several fields 'Authorization'");
    }
    const std::string_view text = findField(fields, "Authorization").value_or("");
    if (!equalsIgnoringCase(text.substr(0, SCHEME.size()), SCHEME)) {
        return std::optional<std::string>();
    }
    return std::optional<std::string>(trimmed(text.substr(SCHEME.size())));
}

kit::Error unsupported(const std::string& reason) {
    return {UNSUPPORTED_MEDIA_TYPE, reason};
}

// Returns the mime type of a body with this media type. The parameter "charset=utf-8" is removed.
kit::Result<std::string> mimeTypeOf(std::string_view contentType) {
    const std::size_t end = std::min(contentType.find(';'), contentType.size());
    const std::string_view name = trimmed(contentType.substr(0, end));
    for (const char* const form : {"application/x-www-form-urlencoded", "multipart/form-data"}) {
        if (equalsIgnoringCase(name, form)) {
            return unsupported(
                "a form is not a payload; name the type of the body, such as "
                "'Content-Type: application/json'");
        }
    }
    const std::string_view parameters =
        trimmed(contentType.substr(std::min(end + 1, contentType.size())));
    constexpr std::string_view CHARSET = "charset=";
    if (equalsIgnoringCase(parameters.substr(0, CHARSET.size()), CHARSET)) {
        const std::string_view charset = parameters.substr(CHARSET.size());
        if (!equalsIgnoringCase(charset, "utf-8") && !equalsIgnoringCase(charset, "\"utf-8\"")) {
            return unsupported("the character set of a body is UTF-8");
        }
        return toMimeType(name);
    }
    return parameters.empty() ? toMimeType(name) : std::string(contentType);
}

kit::Result<Payload> payloadOf(const HttpRequest& request) {
    const std::string_view coding = findField(request.fields, "Content-Encoding").value_or("");
    if (!coding.empty() && !equalsIgnoringCase(coding, "identity")) {
        return unsupported("an encoded body is not supported");
    }
    const std::optional<std::string_view> type = findField(request.fields, "Content-Type");
    const bool hasBytes = request.body && !request.body->empty();
    if (!type) {
        return hasBytes ? makePayload(request.body, mimetypes::OCTET_STREAM_TYPE) : Payload();
    }
    kit::Result<std::string> mimeType = mimeTypeOf(*type);
    if (!mimeType) {
        return mimeType.error();
    }
    return makePayload(request.body ? request.body : std::make_shared<const std::string>(),
                       *mimeType);
}

void set(Header& header, char const* key, std::string_view text) {
    if (!header) {
        header = std::make_shared<util::config::Dictionary>();
    }
    wire::put(*header, key, new util::config::ValueString(text));
}

// Writes the entries for which HTTP has fields.
void addEntries(Header& header, const ForeignCall& call, bool isRetrieval,
                const std::optional<std::string>& token) {
    const bool isStream = call.answer == ForeignCall::Answer::events;
    const std::optional<std::string> accepted = isStream ? std::nullopt : call.accept.mimeType();
    if (accepted) {
        set(header, headers::ACCEPT, *accepted);
    }
    if (token) {
        set(header, headers::AUTH_TOKEN, *token);
    }
    if (isRetrieval) {
        set(header, headers::RESPONSE_SEMANTIC,
            isStream ? headers::PERSISTENT_STREAM : headers::SINGLE_RESPONSE);
    }
}

Request makeRequest(char const* command, const std::string& path, const Payload& payload,
                    const Header& header) {
    Header own = header ? wire::copyOf(*header) : nullptr;
    return own ? Request(command, path, payload, own) : Request(command, path, payload);
}

// The parts of a request, each of which may be a reason to refuse it.
struct Pieces {
    Target target;
    Header header;
    std::optional<std::string> token;
    Payload payload;
};

kit::Result<Pieces> split(const HttpRequest& request) {
    kit::Result<Target> target = Target::parse(request.target);
    if (!target) {
        return target.error();
    }
    kit::Result<Header> header = treeOf(request.fields);
    if (!header) {
        return header.error();
    }
    kit::Result<std::optional<std::string>> token = tokenOf(request.fields);
    if (!token) {
        return token.error();
    }
    kit::Result<Payload> payload = payloadOf(request);
    if (!payload) {
        return payload.error();
    }
    return Pieces{*std::move(target), *std::move(header), *std::move(token), *std::move(payload)};
}

ForeignCall::Answer answerOf(bool isRetrieval, bool isWatch, const Accept& accept) {
    if (isWatch || accept.prefers(EVENT_STREAM_TYPE)) {
        return ForeignCall::Answer::events;
    }
    return isRetrieval ? ForeignCall::Answer::firstValue : ForeignCall::Answer::lastValue;
}

}  // namespace

std::optional<std::string_view> findField(const Fields& fields, std::string_view name) {
    for (const Field& field : fields) {
        if (equalsIgnoringCase(field.name, name)) {
            return trimmed(field.value);
        }
    }
    return std::nullopt;
}

std::string joinedField(const Fields& fields, std::string_view name) {
    std::string list;
    for (const Field& field : fields) {
        if (equalsIgnoringCase(field.name, name)) {
            list += list.empty() ? "" : ", ";
            list += field.value;
        }
    }
    return list;
}

std::variant<ForeignCall, HttpReply> toCall(const HttpRequest& request) {
    const auto* const row =
        std::find_if(std::begin(METHODS), std::end(METHODS),
                     [&](const MethodRow& each) { return each.method == request.method; });
    if (row == std::end(METHODS)) {
        return refuseMethod();
    }
    kit::Result<Pieces> pieces = split(request);
    if (!pieces) {
        return toReply(pieces.error());
    }
    const bool isRetrieval = row->command == commands::RETRIEVE;
    ForeignCall call;
    call.accept = Accept(joinedField(request.fields, "Accept"));
    call.isWatch = !pieces->target.watches.empty();
    call.answer = answerOf(isRetrieval, call.isWatch, call.accept);
    if (call.isWatch && !isRetrieval) {
        return toReply(badRequest("only the method GET has the query 'watch'"));
    }
    if (call.isWatch && call.accept.qualityOf(EVENT_STREAM_TYPE) == 0) {
        return toReply(notAcceptable(EVENT_STREAM_TYPE));
    }
    addEntries(pieces->header, call, isRetrieval, pieces->token);
    const std::vector<Destination> resources =
        call.isWatch ? pieces->target.watches : std::vector<Destination>{pieces->target.resource};
    for (const Destination& each : resources) {
        call.parts.push_back({each.servicePath, makeRequest(row->command, each.path,
                                                            pieces->payload, pieces->header)});
    }
    return call;
}

namespace {

// Splits "host:port". The port is 80 if it is missing, and 0 if it is not a number.
std::pair<std::string_view, unsigned long> splitAuthority(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || text.find(']', colon) != std::string_view::npos) {
        return {text, 80};
    }
    const std::string_view digits = text.substr(colon + 1);
    unsigned long port = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9' || digits.size() > 5) {
            return {text.substr(0, colon), 0};
        }
        port = port * 10 + static_cast<unsigned long>(digit - '0');
    }
    return {text.substr(0, colon), port};
}

// Returns whether the text can be the name of a field (RFC 9110, section 5.6.2).
bool isToken(std::string_view text) {
    constexpr std::string_view OTHERS = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char each) {
        return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') ||
               (each >= '0' && each <= '9') || OTHERS.find(each) != std::string_view::npos;
    });
}

bool isLoopback(std::string_view host) {
    if (equalsIgnoringCase(host, "localhost") || host == "[::1]") {
        return true;
    }
    const kit::Result<Address> address = Address::parse("tcp:" + std::string(host) + ":0");
    return address && address->isLocal() && host.front() != '[';
}

}  // namespace

kit::Result<void> checkOrigin(const Fields& fields, const std::optional<std::string>& authority,
                              unsigned short port, bool allowsRemote) {
    const std::string_view host =
        authority ? std::string_view(*authority) : findField(fields, "Host").value_or("");
    if (host.empty()) {
        return badRequest("the field 'Host' is missing");
    }
    const auto [name, own] = splitAuthority(host);
    if (!allowsRemote && (own != port || !isLoopback(name))) {
        return kit::Error{statuscodes::FORBIDDEN,
                          "the field 'Host' does not name this endpoint by a loopback address"};
    }
    const std::optional<std::string_view> origin = findField(fields, "Origin");
    constexpr std::string_view SCHEME = "http://";
    if (origin && (origin->substr(0, SCHEME.size()) != SCHEME ||
                   !equalsIgnoringCase(origin->substr(SCHEME.size()), host))) {
        return kit::Error{statuscodes::FORBIDDEN,
                          "the request comes from a page of another origin"};
    }
    return {};
}

kit::Result<void> checkFraming(const Fields& fields, std::string_view version) {
    for (const Field& field : fields) {
        if (!isToken(field.name) || !isFieldValue(field.value)) {
            return badRequest("a header field is malformed");
        }
    }
    const std::size_t lengths = count(fields, "Content-Length");
    const std::size_t codings = count(fields, "Transfer-Encoding");
    if (lengths > 1 || codings > 1 || lengths + codings > 1) {
        return badRequest("the length of the body is ambiguous");
    }
    if (codings == 1 && !equalsIgnoringCase(*findField(fields, "Transfer-Encoding"), "chunked")) {
        return badRequest("the only transfer coding is 'chunked'");
    }
    const std::size_t hosts = count(fields, "Host");
    if (hosts > 1 || (hosts == 0 && version != "HTTP/1.0")) {
        return badRequest(hosts > 1 ? "there are several fields 'Host'"
                                    : "the field 'Host' is missing");
    }
    return {};
}

}  // namespace kova::http::detail
