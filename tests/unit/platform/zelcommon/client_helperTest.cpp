#include <gtest/gtest.h>

#include <string>

#include "tracing/client_helper.h"

namespace {

// The only test of its program, because the identity can be set only once per process.
TEST(client_helperTest, FirstIdentityCannotBeReplaced) {
    const std::string& id = tracing::client_helper::getClientId();
    EXPECT_EQ(id, "");
    tracing::client_helper::setClientId("the first client of this process");
    EXPECT_EQ(id, "the first client of this process");
    char const* const text = id.c_str();

    tracing::client_helper::setClientId("the second client, which comes too late");
    tracing::client_helper::setClientId("");
    EXPECT_EQ(id, "the first client of this process");
    EXPECT_EQ(id.c_str(), text) << "a text to which a reference was returned has moved";
    EXPECT_EQ(&tracing::client_helper::getClientId(), &id);
}

}  // namespace
