// Messages arrive as they were sent.
#include <memory>
#include <string>
#include <vector>

#include "contract/service/ServiceContract.h"
#include "support/Trees.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova::test {
namespace {

using namespace std::string_literals;
using Events = Inbox::Events;

constexpr std::size_t LARGE = 16U * 1024U * 1024U;
const std::vector<unsigned short> STATUSES{0, 99, 100, 200, 204, 206, 304, 404, 500, 599, 65535};

Payload payloadOf(const std::string& bytes, const std::string& mimeType) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimeType);
}

std::string allBytes() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

/// Returns payloads of several types and sizes.
std::vector<Payload> payloads() {
    std::string large(LARGE, '\x5a');
    large.front() = 'a';
    large.back() = 'z';
    return {Payload(),
            payloadOf("on", "plain/text"),
            payloadOf("{\"on\":true}", "application/json"),
            payloadOf("not json", "application/json"),
            payloadOf("\xbf\x61"s + "a\x01\xff", "application/vnd.axobin"),
            payloadOf(allBytes(), "application/octet-stream"),
            payloadOf("<a/>", "image/svg+xml; charset=\"utf-8\""),
            payloadOf("x", "no type\r\nX-Field: \xff"),
            payloadOf("x", ""),
            payloadOf("", "plain/text"),
            payloadOf("", ""),
            Payload(Blob(), std::string("type/without-bytes")),
            payloadOf(large, "application/octet-stream")};
}

/// Returns a header with value trees of every kind.
Request::Header headerWithTrees() {
    const auto header = std::make_shared<util::config::Dictionary>();
    header->add("tree", parseTree("{\"a\":[1,-2,1.5,true,null,\"\xc3\xbc\",[],{}],\"b\":{\"c\":"
                                  "[[[18446744073709551615,-9223372036854775808]]]}}")
                            .release());
    header->add("bytes", new util::config::ValueString(allBytes()));
    header->add("\xff"s, new util::config::ValueString("key of any byte"));
    header->add("", new util::config::ValueString(""));
    header->add("deep", deepTree(200).release());
    header->add("long", new util::config::ValueString(std::string(100000, 'x')));
    return header;
}

TEST_P(ServiceContract, EveryStatusCodeOfAValueArrives) {
    for (const unsigned short status : STATUSES) {
        const Response value(status, payloadOf("v", "plain/text"));
        EXPECT_EQ(answered(value), (Events{"next " + describe(value), "completed"}));
    }
}

TEST_P(ServiceContract, EveryStatusCodeOfAnErrorArrives) {
    for (const unsigned short status : STATUSES) {
        const Response error = Response::createErrorResponse(status, "a reason");
        EXPECT_EQ(failed(error), (Events{"error " + describe(error)}));
    }
}

TEST_P(ServiceContract, ErrorResponseSentAsAValueArrivesAsAValue) {
    const Response value = Response::createErrorResponse(404, "not an end");
    EXPECT_EQ(answered(value), (Events{"next " + describe(value), "completed"}));
}

TEST_P(ServiceContract, ErrorArrivesWithPayloadAndHeader) {
    Response::Header header = headerWithTrees();
    Response error(200, payloadOf("{\"details\":1}", "application/json"), header);
    EXPECT_EQ(failed(error), (Events{"error " + describe(error)}));
    error.setErrorMessage("an error with the code of a success, \xff");
    EXPECT_EQ(failed(error), (Events{"error " + describe(error)}));
}

TEST_P(ServiceContract, ErrorWithoutAMessageArrives) {
    const Response error(409);
    EXPECT_EQ(failed(error), (Events{"error " + describe(error)}));
}

TEST_P(ServiceContract, PayloadsOfValuesArrive) {
    for (const Payload& payload : payloads()) {
        const Response value(200, payload);
        EXPECT_EQ(answered(value), (Events{"next " + describe(value), "completed"}));
    }
}

TEST_P(ServiceContract, PayloadsOfRequestsArrive) {
    for (const Payload& payload : payloads()) {
        const Request request("update", "/state", payload);
        EXPECT_EQ(arrived(request), describe(request));
    }
}

TEST_P(ServiceContract, EveryCommandArrivesWithAPayload) {
    for (const std::string& command : {"retrieve"s, "update"s, "insert"s, "delete"s, "RETRIEVE"s,
                                       "own word"s, ""s, "a\r\nb\0c"s, "\xff\xfe"s}) {
        const Request request(command, "/state", payloadOf("p", "plain/text"));
        EXPECT_EQ(arrived(request), describe(request));
    }
}

TEST_P(ServiceContract, PathsArriveUnchanged) {
    for (const std::string& path :
         {""s, "/"s, "//"s, "/a//b"s, "/../a/./b/.."s, "/%2F%00%zz%"s, "/a?b=c&d#e"s, "a b"s,
          "/\xc3\xbc"s, "/\xff\x80"s, "/a\0b\r\n"s, "kova:/x$/y"s, "/" + std::string(20000, 'p')}) {
        const Request request("retrieve", path);
        EXPECT_EQ(arrived(request), describe(request));
    }
}

TEST_P(ServiceContract, HeadersOfRequestsArrive) {
    Request::Header header = headerWithTrees();
    Request request("retrieve", "/state", header);
    request.setMimeType("application/json");
    EXPECT_EQ(arrived(request), describe(request));
}

TEST_P(ServiceContract, HeadersOfValuesArrive) {
    Response::Header header = headerWithTrees();
    const Response value(200, payloadOf("v", "plain/text"), header);
    EXPECT_EQ(answered(value), (Events{"next " + describe(value), "completed"}));
}

}  // namespace
}  // namespace kova::test
