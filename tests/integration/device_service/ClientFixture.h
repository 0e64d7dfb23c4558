#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "Client.h"
#include "Console.h"
#include "Replies.h"
#include "kova/core/StaticComposedKovaService.h"
#include "support/Reports.h"
#include "support/Service.h"

namespace device::test {

/// The header of the requests that the client sends, as it is printed.
inline const std::string HEADER =
    "      header  {\"$accept\":\"application/json\",\"$client-id\":\"unknown\","
    "\"$service-path\":\"/device\"}\n";

/// A client of a service with one resource, "/r", that does what the test says.
class ClientFixture : public testing::Test {
protected:
    /// What the line makes the client print.
    std::string run(const std::string& line) {
        out.str("");
        EXPECT_TRUE(console.execute(line));
        return out.str();
    }
    /// Answers every request at once.
    void answerWith(const kova::Response& response) {
        resource.handle = nullptr;
        resource.onRequest = [response](kova::IResponseHandler<kova::Response>& handler) {
            if (response.isErrorResponse()) {
                handler.onError(response);
            } else {
                handler.onNext(response);
                handler.onCompleted();
            }
        };
    }
    /// Lets requests stay pending from now on.
    void leavePending() {
        resource.onRequest = nullptr;
        resource.handle = &resource;
    }
    kova::IResponseHandler<kova::Response>& pending(std::size_t index) {
        return *resource.asked.at(index).handler;
    }

    /// For the root of the service, which is built below.
    struct RootType {
        RootType() { kova::servicecomp::overrideMimeTypeFunc(acceptedType); }
    } rootType;
    kova::test::Reports reports;
    std::ostringstream out;
    bool interrupted = false;
    kova::test::Mounts mounts{{"/r"}};
    kova::test::ScriptedResource& resource = mounts["/r"];
    Client client{std::make_unique<kova::StaticComposedKovaService>(mounts.take()), "/device",
                  [this] { return interrupted; }, out};
    Console console{client};
};

}  // namespace device::test
