#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "Console.h"
#include "kova/kit/Service.h"
#include "support/Reports.h"
#include "support/Service.h"

namespace device::test {

/// The printed header of the console's requests.
inline const std::string HEADER =
    "      header  {\"$accept\":\"application/json\",\"$client-id\":\"unknown\","
    "\"$service-path\":\"/device\"}\n";

/// Returns a service of the resources.
inline std::unique_ptr<kova::kit::Service> serviceOf(kova::test::Mounts& mounts) {
    kova::kit::ServiceBuilder builder;
    for (auto& [path, handler] : mounts.take()) {
        builder.mount(path, std::move(handler));
    }
    return builder.build();
}

/// A console for a service with one scripted resource, "/r".
class ConsoleFixture : public testing::Test {
protected:
    /// Executes a line and returns what the console prints.
    std::string run(const std::string& line) {
        out.str("");
        EXPECT_TRUE(console.execute(line));
        return out.str();
    }
    /// Makes the resource respond to every request inside the call.
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
    /// Makes the following requests remain pending.
    void leavePending() {
        resource.onRequest = nullptr;
        resource.handle = &resource;
    }
    kova::IResponseHandler<kova::Response>& pending(std::size_t index) {
        return *resource.asked.at(index).handler;
    }

    kova::test::Reports reports;
    std::ostringstream out;
    bool interrupted = false;
    kova::test::Mounts mounts{{"/r"}};
    kova::test::ScriptedResource& resource = mounts["/r"];
    const std::unique_ptr<kova::kit::Service> service = serviceOf(mounts);
    Journal journal{out};
    Console console{*service, "/device", journal, [this] { return interrupted; }};
};

}  // namespace device::test
