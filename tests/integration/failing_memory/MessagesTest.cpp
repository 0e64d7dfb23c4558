#include <memory>
#include <optional>
#include <string>

#include "Trial.h"
#include "kova/core/KovaException.h"
#include "kova/core/Payload.h"
#include "kova/core/Request.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/Response.h"
#include "kova/core/headers.h"
#include "support/Trees.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Scalars.h"

// Operations on messages, their headers and their payloads.

namespace kova::test {
namespace {

using util::config::Value;
using util::config::ValueInt;
using util::config::ValueString;

const std::string TEXT(KEY);

/// Calls `write`, which must add the header entry `key` to a new message. The entry is added
/// completely or not at all, and further entries can be added afterwards.
template <typename Message, typename Write>
void writeEntry(Trial& trial, Message message, char const* key, Write write) {
    trial.attempt([&] {
        write(message);
        return message.getHeaderValue(key).isUndefined();
    });
    message.add2header(OTHER_KEY, new ValueInt(1));
    EXPECT_TRUE(message.getHeaderValue(OTHER_KEY) == ValueInt(1));
}

/// Calls `write`, which must replace the header entry `key`. The former entry remains if memory
/// runs out.
template <typename Message, typename Write>
void replaceEntry(Trial& trial, Message message, char const* key, Write write) {
    message.add2header(key, new ValueInt(1));
    trial.attempt([&] {
        write(message);
        return message.getHeaderValue(key).isInt();
    });
    const Value& entry = message.getHeaderValue(key);
    EXPECT_EQ(entry.toJson(true), trial.isDone() ? "\"" + TEXT + "\"" : "1");
}

Request request() {
    return {"retrieve", "/a"};
}

void addValue(Trial& trial) {
    writeEntry(trial, request(), KEY,
               [](Request& r) { r.add2header(KEY, new (std::nothrow) ValueInt(1)); });
}

void addCopyOfValue(Trial& trial) {
    const Tree value = parseTree(R"({"x":[1,"a text that is too long to be kept in place"]})");
    writeEntry(trial, Response(200), KEY, [&](Response& r) { r.add2header(KEY, *value); });
}

void setMimeType(Trial& trial) {
    writeEntry(trial, request(), headers::ACCEPT, [](Request& r) { r.setMimeType(TEXT); });
}

void setMimeTypeById(Trial& trial) {
    writeEntry(trial, request(), headers::ACCEPT,
               [](Request& r) { r.setMimeType(mimetypes::AXOBin); });
}

void replaceMimeType(Trial& trial) {
    replaceEntry(trial, request(), headers::ACCEPT, [](Request& r) { r.setMimeType(TEXT); });
}

void setErrorMessage(Trial& trial) {
    writeEntry(trial, Response(400), headers::ERROR_MESSAGE,
               [](Response& r) { r.setErrorMessage(KEY); });
}

void createErrorResponse(Trial& trial) {
    std::optional<Response> response;
    trial.attempt([&] {
        response = Response::createErrorResponse(404, KEY);
        return !response->isErrorResponse();
    });
    ASSERT_TRUE(response);
    EXPECT_EQ(response->getStatusCode(), 404);
}

void appendTracingInfo(Trial& trial) {
    Request message = request();
    trial.attempt([&] {
        headers::appendTracingInfo(message, TEXT, TEXT);
        return !message.getHeaderValue(headers::CLIENT_ID).isString() ||
               !message.getHeaderValue(headers::SERVICE_PATH).isString();
    });
    headers::appendTracingInfo(message, TEXT, TEXT);
    EXPECT_TRUE(message.getHeaderValue(headers::SERVICE_PATH) == ValueString(TEXT));
}

void appendRequestInfo(Trial& trial) {
    const RequestInfo info(TEXT, TEXT, TEXT, TEXT);
    Response message(200);
    trial.attempt([&] {
        headers::appendRequestInfo(info, message);
        return !message.getHeaderValue(headers::REQUEST_COMMAND).isString() ||
               !message.getHeaderValue(headers::REQUEST_PATH).isString() ||
               !message.getHeaderValue(headers::SERVICE_PATH).isString() ||
               !message.getHeaderValue(headers::CLIENT_ID).isString();
    });
    headers::appendRequestInfo(info, message);
    EXPECT_TRUE(message.getHeaderValue(headers::CLIENT_ID) == ValueString(TEXT));
}

void appendResponseSemantic(Trial& trial) {
    writeEntry(trial, request(), headers::RESPONSE_SEMANTIC,
               [](Request& r) { headers::appendResponseSemantic(r, TEXT); });
}

void appendAuthInfo(Trial& trial) {
    headers::setAgt(TEXT);
    writeEntry(trial, request(), headers::AUTH_TOKEN,
               [](Request& r) { headers::appendAuthInfo(r); });
}

Request requestWithEverything() {
    Request message(TEXT, TEXT, Payload::createFromJSON("[\"" + TEXT + "\"]"));
    message.add2header(headers::CLIENT_ID, new ValueString(TEXT));
    return message;
}

void copyRequest(Trial& trial) {
    const Request message = requestWithEverything();
    trial.attempt([&] {
        const Request copy(message);
        return copy.getPath().empty();
    });
}

void readRequestInfo(Trial& trial) {
    const Request message = requestWithEverything();
    trial.attempt([&] { return RequestInfo(message).getClientId().empty(); });
}

void printRequest(Trial& trial) {
    const Request message = requestWithEverything();
    trial.attempt([&] { return message.toString().empty(); });
    EXPECT_FALSE(Value::g_print_compact);
}

void readErrorMessage(Trial& trial) {
    const Response response = Response::createErrorResponse(404, KEY);
    std::string out = "before";
    trial.attempt([&] { return response.getErrorMessage(out); });
    EXPECT_EQ(out, trial.isDone() ? TEXT : "before");
}

void throwAsException(Trial& trial) {
    const Response response = Response::createErrorResponse(404, KEY);
    trial.attempt([&] {
        const KovaException exception(response);
        return exception.getErrorCode() != 404;
    });
}

template <typename Make>
void makePayload(Trial& trial, Make make) {
    Payload payload;
    trial.attempt([&] {
        payload = make();
        return payload.isEmpty();
    });
    EXPECT_EQ(payload.isEmpty(), !trial.isDone());
}

void payloadFromRaw(Trial& trial) {
    makePayload(trial, [] {
        return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(KEY), 10, TEXT);
    });
}

void payloadFromJson(Trial& trial) {
    makePayload(trial, [] { return Payload::createFromJSON(TEXT); });
}

void payloadFromString(Trial& trial) {
    makePayload(trial, [] { return Payload::createFromString(TEXT); });
}

void payloadFromConfig(Trial& trial) {
    const ValueString value(std::string(2000, 'x'));
    makePayload(trial, [&] { return Payload::createFromConfig(value); });
    EXPECT_FALSE(Value::g_print_compact);
}

void payloadFromWriter(Trial& trial) {
    util::ByteBufferWriter writer(0);
    ASSERT_FALSE(writer.append(KEY, 10));
    makePayload(trial, [&] { return Payload::createFromWriter(writer, TEXT); });
}

// {"a":[1,"…"]} with a text of 30 characters
Payload binaryPayload() {
    const std::string bytes = "\xA1\x61\x61\x82\x01\x78\x1E" + std::string(30, 'x');
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimetypes::AXOBIN_TYPE);
}

void printPayload(Trial& trial, const Payload& payload) {
    std::string text;
    trial.attempt([&] { return Payload::createStringFrom(payload, text, true); });
    EXPECT_TRUE(trial.outcome() != FAILED || text == "<failed>") << text;
    EXPECT_FALSE(Payload::createStringFrom(payload, text, true));
}

void printJsonPayload(Trial& trial) {
    printPayload(trial, Payload::createFromJSON(TEXT));
}

void printBinaryPayload(Trial& trial) {
    printPayload(trial, binaryPayload());
}

void parsePayload(Trial& trial, const Payload& payload) {
    Tree tree;
    trial.attempt([&] {
        tree.reset(Payload::createConfigFrom(payload));
        return tree == nullptr;
    });
    EXPECT_EQ(tree == nullptr, !trial.isDone());
}

void parseJsonPayload(Trial& trial) {
    parsePayload(trial, Payload::createFromJSON(R"({"a":[1,"a text that is too long to stay"]})"));
}

void parseBinaryPayload(Trial& trial) {
    parsePayload(trial, binaryPayload());
}

constexpr Operation OPERATIONS[] = {
    {"add2header", FAILED, addValue},
    {"add2header with a copy", FAILED, addCopyOfValue},
    {"setMimeType", FAILED, setMimeType},
    {"setMimeType by id", FAILED, setMimeTypeById},
    {"setMimeType in place of another", FAILED, replaceMimeType},
    {"setErrorMessage", FAILED, setErrorMessage},
    {"createErrorResponse", FAILED, createErrorResponse},
    {"appendTracingInfo", FAILED, appendTracingInfo},
    {"appendRequestInfo", FAILED, appendRequestInfo},
    {"appendResponseSemantic", FAILED, appendResponseSemantic},
    {"appendAuthInfo", FAILED, appendAuthInfo},
    {"copy of a request", THROWN, copyRequest},
    {"RequestInfo", THROWN, readRequestInfo},
    {"Request::toString", THROWN, printRequest},
    {"getErrorMessage", THROWN, readErrorMessage},
    {"KovaException", THROWN, throwAsException},
    {"Payload::createFromRaw", STOPPED, payloadFromRaw},
    {"Payload::createFromJSON", STOPPED, payloadFromJson},
    {"Payload::createFromString", STOPPED, payloadFromString},
    {"Payload::createFromConfig", STOPPED, payloadFromConfig},
    {"Payload::createFromWriter", STOPPED, payloadFromWriter},
    {"Payload::createStringFrom JSON", FAILED, printJsonPayload},
    {"Payload::createStringFrom binary", FAILED | STOPPED, printBinaryPayload},
    {"Payload::createConfigFrom JSON", FAILED, parseJsonPayload},
    {"Payload::createConfigFrom binary", FAILED | STOPPED, parseBinaryPayload},
};

INSTANTIATE_TEST_SUITE_P(Messages, FailingMemory, testing::ValuesIn(OPERATIONS));

}  // namespace
}  // namespace kova::test
