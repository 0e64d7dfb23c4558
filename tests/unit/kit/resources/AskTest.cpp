#include "kova/kit/Ask.h"

#include <gtest/gtest.h>

#include "kova/core/headers.h"
#include "util/config/Scalars.h"

namespace kova::kit {
namespace {

TEST(Ask, RequestWithoutHeaderWantsOneJsonValue) {
    const Request request("retrieve", "/lamp/3");
    const Ask ask(request, "3");
    EXPECT_EQ(ask.command(), "retrieve");
    EXPECT_EQ(ask.path(), "3");
    EXPECT_EQ(&ask.request(), &request);
    EXPECT_EQ(ask.accept(), mimetypes::JSON_TYPE);
    EXPECT_FALSE(ask.wantsStream());
    EXPECT_EQ(ask.clientId(), "");
}

TEST(Ask, ReadsTheReservedHeaderEntries) {
    Request request("retrieve", "/lamp");
    request.setMimeType(mimetypes::AXOBIN_TYPE);
    headers::appendTracingInfo(request, "/home", "hmi");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    const Ask ask(request, "");
    EXPECT_EQ(ask.accept(), mimetypes::AXOBIN_TYPE);
    EXPECT_TRUE(ask.wantsStream());
    EXPECT_EQ(ask.clientId(), "hmi");
}

TEST(Ask, ReturnsAHeaderEntryOfTheRequestedType) {
    Request request("retrieve", "/lamp");
    request.add2header("zone", new util::config::ValueInt(3));
    const Ask ask(request, "");
    EXPECT_EQ(ask.header<int>("zone"), 3);
    EXPECT_EQ(ask.header<std::string>("zone"), std::nullopt);
    EXPECT_EQ(ask.header<int>("room"), std::nullopt);
}

}  // namespace
}  // namespace kova::kit
