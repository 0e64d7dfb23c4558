#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Answer.h"
#include "Device.h"
#include "TemporaryFolder.h"
#include "kova/core/headers.h"
#include "support/Reports.h"

namespace device::test {

/// The service of a device with the files of a temporary folder.
class DeviceFixture : public testing::Test {
protected:
    DeviceFixture() {
        std::filesystem::create_directories(folder / "proc");
        writeFile(folder / "proc/uptime", "1.0 0.0\n");
        serve(file);
    }

    void serve(const std::string& store, bool inspectsOverTcp = false) {
        device.reset();
        DeviceOptions options;
        options.storeFile = store;
        options.interval = std::chrono::milliseconds(1);
        options.versions = {"1.0.2", "2.0.0"};
        options.root = folder.path();
        options.inspectsOverTcp = inspectsOverTcp;
        device.emplace(options);
    }
    /// Sends a request and waits for its end. Returns its events.
    std::shared_ptr<Answer> ask(const kova::Request& request) {
        auto answer = std::make_shared<Answer>();
        device->service().actionRequest(request, answer->receiver());
        answer->awaitRelease();
        EXPECT_EQ(answer->ends(), 1);
        return answer;
    }
    std::shared_ptr<Answer> ask(const std::string& command, const std::string& path,
                                const std::string& json = "") {
        return ask(kova::Request(
            command, path, json.empty() ? kova::Payload() : kova::Payload::createFromJSON(json)));
    }
    static kova::Request watching(const std::string& path) {
        kova::Request request("retrieve", path);
        kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
        return request;
    }

    TemporaryFolder folder;
    const std::string file = folder / "store.json";
    kova::test::Reports reports;
    std::optional<Device> device;
};

/// A request, and the payload of its answer or the beginning of its error message.
struct StatusRow {
    char const* command;
    char const* path;
    char const* payload;
    unsigned short code;
    char const* answer;
};

inline void PrintTo(const StatusRow& row, std::ostream* out) {
    *out << row.command << ' ' << row.path << ' ' << row.payload;
}

inline void expectAnswer(const StatusRow& row, const Answer& answer) {
    EXPECT_EQ(answer.code(), row.code);
    if (row.code < 400) {
        EXPECT_EQ(answer.text(), row.answer);
    } else {
        EXPECT_EQ(answer.error().substr(0, std::string(row.answer).size()), row.answer);
    }
}

}  // namespace device::test
