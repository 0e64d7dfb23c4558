#include "kova/core/RequestInfo.h"

#include <gtest/gtest.h>

#include "util/config/Scalars.h"

namespace kova {
namespace {

using util::config::ValueInt;
using util::config::ValueString;

TEST(RequestInfoTest, ConstructorStoresItsTextsVerbatim) {
    const RequestInfo info("update", "/a/b", "/svc", "");
    EXPECT_EQ(info.getCommand(), "update");
    EXPECT_EQ(info.getPath(), "/a/b");
    EXPECT_EQ(info.getServicePath(), "/svc");
    EXPECT_EQ(info.getClientId(), "");
}

TEST(RequestInfoTest, CopiesTheFieldsOfTheRequest) {
    Request request("retrieve", "/a");
    request.add2header("$service-path", new ValueString("/svc"));
    request.add2header("$client-id", new ValueString("me"));
    const RequestInfo info(request);
    EXPECT_EQ(info.getCommand(), "retrieve");
    EXPECT_EQ(info.getPath(), "/a");
    EXPECT_EQ(info.getServicePath(), "/svc");
    EXPECT_EQ(info.getClientId(), "me");
}

TEST(RequestInfoTest, MissingOrNonStringEntryLeavesItsFieldEmpty) {
    Request request("retrieve", "/a");
    EXPECT_EQ(RequestInfo(request).getServicePath(), "");
    request.add2header("$client-id", new ValueInt(7));
    EXPECT_EQ(RequestInfo(request).getClientId(), "");
    EXPECT_EQ(RequestInfo(request).getServicePath(), "");
}

}  // namespace
}  // namespace kova
