#include "Versions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "kova/core/StaticComposedKovaService.h"
#include "support/Reports.h"
#include "support/Service.h"

namespace device {
namespace {

using kova::Payload;
using kova::Response;
using std::chrono::hours;
using std::chrono::milliseconds;
using Handler = kova::IResponseHandler<Response>;

/// A service whose offered versions the test sets.
class VersionsTest : public testing::Test {
protected:
    Agreement agree(const std::string& wanted, milliseconds patience = hours(1)) {
        return agreeOnVersion(service, kova::Request("retrieve", VERSIONS_PATH), wanted, patience);
    }
    void offer(const Response& response) {
        resource.onRequest = [response](Handler& handler) { handler.onNext(response); };
    }

    kova::test::Reports reports;
    kova::test::Mounts mounts{{"/about"}};
    kova::test::ScriptedResource& resource = mounts["/about"];
    kova::StaticComposedKovaService service{mounts.take()};
};

struct ChoiceRow {
    char const* wanted;
    char const* offered;
    char const* version;  // null if no version is selected
    char const* outcome;
};

void PrintTo(const ChoiceRow& row, std::ostream* out) {
    *out << row.wanted << " of " << row.offered;
}

constexpr ChoiceRow CHOICES[] = {
    {"1.2.0", R"(["1.2.0"])", "1.2.0",
     "interface 1.2.0 serves a client built for 1.2.0 (offered: 1.2.0)"},
    {"1.2.0", R"(["1.0.2","1.3.1","1.2.1","2.0.0"])", "1.2.1",
     "interface 1.2.1 serves a client built for 1.2.0 (offered: 1.0.2, 1.3.1, 1.2.1, 2.0.0)"},
    {"1.5.0", R"(["1.0.2","2.0.0"])", "1.0.2",
     "interface 1.0.2 serves a client built for 1.5.0 (offered: 1.0.2, 2.0.0)"},
    {"3.0.0", R"(["1.0.2","2.0.0"])", nullptr,
     "no interface serves a client built for 3.0.0 (offered: 1.0.2, 2.0.0)"},
    {"2.0.0@x", R"(["2.0.0"])", nullptr,
     "no interface serves a client built for 2.0.0@x (offered: 2.0.0)"},
    {"newest", R"(["2.0.0"])", nullptr,
     "no interface serves a client built for newest (offered: 2.0.0)"},
    {"1.0.0", "[]", nullptr, "no interface serves a client built for 1.0.0 (offered: )"},
};

TEST_F(VersionsTest, MostCompatibleOfferedVersionIsSelected) {
    for (const ChoiceRow& row : CHOICES) {
        SCOPED_TRACE(testing::PrintToString(row));
        offer(Response(200, Payload::createFromJSON(row.offered)));
        const Agreement agreement = agree(row.wanted);
        EXPECT_EQ(agreement.version.value_or("none"),
                  row.version != nullptr ? row.version : "none");
        EXPECT_EQ(agreement.outcome, row.outcome);
    }
}

TEST_F(VersionsTest, ResponseOtherThanATextListIsRejected) {
    for (char const* const answer : {"5", "[1]", "{}", "", "[\"1.0.0\", 2]"}) {
        offer(Response(200, Payload::createFromJSON(answer)));
        EXPECT_EQ(agree("1.0.0").outcome, "what the service says is no list of versions") << answer;
        EXPECT_FALSE(agree("1.0.0").version);
    }
    offer(Response(204));
    EXPECT_FALSE(agree("1.0.0").version);
}

TEST_F(VersionsTest, ErrorOfTheServiceIsReported) {
    resource.onRequest = [](Handler& handler) {
        handler.onError(Response::createErrorResponse(404, "not here"));
    };
    const Agreement agreement = agree("1.0.0");
    EXPECT_FALSE(agreement.version);
    EXPECT_EQ(agreement.outcome,
              "the service does not say which versions it offers: 404 Not Found: not here");
}

TEST_F(VersionsTest, MissingResponseEndsWithoutAVersion) {
    constexpr char const* SILENT = "the service does not say which versions it offers";
    resource.onRequest = [](Handler& handler) { handler.onCompleted(); };
    EXPECT_EQ(agree("1.0.0").outcome, SILENT);
    service.shutdown();
    EXPECT_EQ(agree("1.0.0").outcome, SILENT);
}

TEST_F(VersionsTest, ResponseMayComeFromAnotherThread) {
    resource.handle = &resource;
    std::thread sender;
    resource.onRequest = [&sender](Handler& handler) {
        sender = std::thread(
            [&handler] { handler.onNext(Response(200, Payload::createFromJSON("[\"1.0.0\"]"))); });
    };
    EXPECT_EQ(agree("1.0.0").version, "1.0.0");
    sender.join();
}

TEST_F(VersionsTest, RequestWithoutATimelyResponseIsCancelled) {
    resource.handle = &resource;
    EXPECT_FALSE(agree("1.0.0", milliseconds(0)).version);
    EXPECT_EQ(resource.cancelled.size(), 1U);
}

TEST_F(VersionsTest, OnlyTheFirstEventIsUsed) {
    resource.onRequest = [](Handler& handler) {
        EXPECT_TRUE(handler.onNext(Response(200, Payload::createFromJSON("[\"1.0.0\"]"))));
        EXPECT_TRUE(handler.onNext(Response(200, Payload::createFromJSON("[\"2.0.0\"]"))));
        handler.onError(Response::createErrorResponse(500, "late"));
    };
    EXPECT_EQ(agree("1.0.0").version, "1.0.0");
}

}  // namespace
}  // namespace device
