#include "Replies.h"

#include <gtest/gtest.h>

#include <string_view>

#include "kova/core/headers.h"
#include "support/Reports.h"
#include "util/config/Scalars.h"

namespace device {
namespace {

using kova::Request;

TEST(RepliesTest, AcceptedTypeDefaultsToJson) {
    Request request("retrieve", "/r");
    EXPECT_EQ(acceptedType(request), "application/json");
    request.add2header(kova::headers::ACCEPT, new util::config::ValueInt(5));
    EXPECT_EQ(acceptedType(request), "application/json");
    request.setMimeType("x/y");
    EXPECT_EQ(acceptedType(request), "x/y");
}

TEST(RepliesTest, OnlyPersistentStreamSelectsAStream) {
    Request request("retrieve", "/r");
    EXPECT_FALSE(wantsStream(request));
    for (char const* const semantic :
         {kova::headers::SINGLE_RESPONSE, kova::headers::EMPTY_RESPONSE,
          kova::headers::MULTI_RESPONSE, "", "Persistent-Stream"}) {
        kova::headers::appendResponseSemantic(request, semantic);
        EXPECT_FALSE(wantsStream(request)) << semantic;
    }
    kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
    EXPECT_TRUE(wantsStream(request));
    request.add2header(kova::headers::RESPONSE_SEMANTIC, new util::config::ValueInt(5));
    EXPECT_FALSE(wantsStream(request));
}

TEST(RepliesTest, ResponseContainsTheWrittenPayload) {
    const kova::Response response = makeResponse(
        Request("retrieve", "/r"), 299,
        [](auto& serializer) { return serializer.serializeString(std::string_view("x")); });
    EXPECT_EQ(response.toString(), "sc=299 header='' payload='\"x\"'");
}

TEST(RepliesTest, FailedWriteProducesAnErrorResponse) {
    kova::test::Reports reports;
    const kova::Response response =
        makeResponse(Request("retrieve", "/r"), 200, [](auto&) { return true; });
    EXPECT_EQ(response.getErrorMessageWithCode(),
              "500 Internal Server Error: path '/r': the value has no form in the type "
              "'application/json'");
}

}  // namespace
}  // namespace device
