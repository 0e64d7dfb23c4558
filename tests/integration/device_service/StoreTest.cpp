// Tests the resource "/store" of the device.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "DeviceFixture.h"
#include "kova/core/MimeTypes.h"
#include "support/Trees.h"
#include "util/config/Scalars.h"

namespace device {
namespace {

using kova::Payload;
using kova::Request;

constexpr char const* DOCUMENT = R"({"list":[1,2],"volume":5})";

class StoreTest : public test::DeviceFixture {
protected:
    StoreTest() {
        test::writeFile(file, DOCUMENT);
        serve(file);
    }

    std::string document() { return ask(Request("retrieve", "/store"))->text(); }
    unsigned short update(Payload payload) {
        return ask(Request("update", "/store/new", std::move(payload)))->code();
    }
};

// Status codes

// The expected text for a payload that cannot be read. The beginnings of the reasons differ.
constexpr char const* NO_JSON = "";

const test::StatusRow ROWS[] = {
    {"retrieve", "/store", "", 200, DOCUMENT},
    {"retrieve", "/store/", "", 200, DOCUMENT},
    {"retrieve", "/store/volume", "", 200, "5"},
    {"retrieve", "//store//volume//", "", 200, "5"},
    {"retrieve", "/store/list", "", 200, "[1,2]"},
    {"retrieve", "/store/list/1", "", 200, "2"},
    {"retrieve", "/store/list/2", "", 404, "path '/store/list/2' not found"},
    {"retrieve", "/store/list/-", "", 404, "path '/store/list/-' not found"},
    {"retrieve", "/store/volume/x", "", 404, "path '/store/volume/x' not found"},
    {"retrieve", "/store/nothing", "", 404, "path '/store/nothing' not found"},
    {"retrieve", "/store/..", "", 404, "path '/store/..' not found"},

    {"update", "/store/volume", "7", 204, ""},
    {"update", "/store/volume", "{\"left\":1,\"left\":2}", 204, ""},
    {"update", "/store/new", "\"x\"", 201, ""},
    {"update", "/store/list/0", "null", 204, ""},
    {"update", "/store/list/2", "3", 201, ""},
    {"update", "/store/list/-", "3", 201, ""},
    {"update", "/store", "[]", 204, ""},
    {"update", "/store/", "{}", 204, ""},
    {"update", "/store", "5", 409, "'/store' cannot hold that"},
    {"update", "/store/volume/x", "5", 409, "'/store/volume/x' cannot hold that"},
    {"update", "/store/a/b", "5", 404, "path '/store/a/b' not found"},
    {"update", "/store/list/4", "5", 404, "path '/store/list/4' not found"},
    {"update", "/store/\xff", "5", 409, "'/store/\xff' cannot hold that"},
    {"update", "/store/volume", "", 400, NO_JSON},
    {"update", "/store/volume", "{\"open\":", 400, NO_JSON},
    {"update", "/store/volume", "7 8", 400, NO_JSON},
    {"update", "/store/volume", "\"\xff\"", 400, NO_JSON},
    {"update", "/store/volume", "99999999999999999999", 400, NO_JSON},
    {"update", "/store/a/b", "nothing", 400, NO_JSON},

    {"insert", "/store/new", "7", 201, ""},
    {"insert", "/store/list/0", "0", 201, ""},
    {"insert", "/store/list/-", "3", 201, ""},
    {"insert", "/store/volume", "7", 409, "there is something at '/store/volume' already"},
    {"insert", "/store", "{}", 409, "there is something at '/store' already"},
    {"insert", "/store/volume/x", "7", 409, "'/store/volume/x' cannot hold that"},
    {"insert", "/store/list/3", "7", 404, "path '/store/list/3' not found"},
    {"insert", "/store/a/b", "7", 404, "path '/store/a/b' not found"},
    {"insert", "/store/new", "[", 400, NO_JSON},

    {"delete", "/store/volume", "", 204, ""},
    {"delete", "/store/list/0", "ignored", 204, ""},
    {"delete", "/store", "", 204, ""},
    {"delete", "/store/nothing", "", 404, "path '/store/nothing' not found"},
    {"delete", "/store/list/-", "", 404, "path '/store/list/-' not found"},

    {"observe", "/store", "", 400, "command 'observe' not supported for path '/store'"},
    {"RETRIEVE", "/store", "", 400, "command 'RETRIEVE' not supported for path '/store'"},
    {"", "/store/volume", "", 400, "command '' not supported for path '/store/volume'"},

    {"retrieve", "/storehouse", "", 404, "path '/storehouse' not found"},
};

class StoreStatusTest : public StoreTest, public testing::WithParamInterface<test::StatusRow> {};

TEST_P(StoreStatusTest, RespondsWithTheExpectedStatus) {
    const test::StatusRow& row = GetParam();
    const auto answer = ask(row.command, row.path, row.payload);
    test::expectAnswer(row, *answer);
    EXPECT_EQ(answer->error().empty(), row.code < 400);
    if (row.code >= 400 || row.code == 200) {
        EXPECT_EQ(document(), DOCUMENT);
    } else {
        EXPECT_NE(document(), DOCUMENT);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, StoreStatusTest, testing::ValuesIn(ROWS));

TEST_F(StoreTest, UnwritableFileProducesAnErrorResponse) {
    serve(folder / "nowhere/store.json");
    const auto answer = ask(Request("update", "/store/a", Payload::createFromJSON("1")));
    EXPECT_EQ(answer->code(), 500);
    EXPECT_EQ(answer->error(), "the document could not be written");
    EXPECT_EQ(document(), "{}");
}

TEST_F(StoreTest, StoredValuesAreInTheFile) {
    ask(Request("insert", "/store/new", Payload::createFromJSON("[true]")));
    serve(file);
    EXPECT_EQ(document(), R"({"list":[1,2],"new":[true],"volume":5})");
}

// Payloads

struct AcceptRow {
    char const* type;
    unsigned short code;
};

TEST_F(StoreTest, RespondsInTheAcceptedMimeType) {
    for (const auto& [type, code] : {AcceptRow{"application/json", 200},
                                     {"application/vnd.axobin", 200},
                                     {"plain/text", 400},
                                     {"application/vnd.msgpack", 400},
                                     {"", 400},
                                     {"nonsense", 400}}) {
        Request request("retrieve", "/store");
        request.setMimeType(type);
        const auto answer = ask(request);
        EXPECT_EQ(answer->code(), code) << type;
        if (code == 200) {
            EXPECT_EQ(answer->values().at(0).getPayload().getMimeType(), type);
            EXPECT_EQ(answer->text(), DOCUMENT);
        }
    }
}

TEST_F(StoreTest, NonTextAcceptEntryDefaultsToJson) {
    Request request("retrieve", "/store");
    request.add2header("$accept", new util::config::ValueInt(5));
    EXPECT_EQ(ask(request)->text(), DOCUMENT);
}

Payload binary(const std::string& bytes) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), kova::mimetypes::AXOBIN_TYPE);
}

std::string bytesOf(const Payload& payload) {
    return {reinterpret_cast<char const*>(payload.data()), payload.size()};
}

TEST_F(StoreTest, StoresABinaryPayload) {
    Request request("retrieve", "/store");
    request.setMimeType(kova::mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(update(ask(request)->values().at(0).getPayload()), 201);
    EXPECT_EQ(ask(Request("retrieve", "/store/new"))->text(), DOCUMENT);
}

TEST_F(StoreTest, RejectsATruncatedBinaryPayload) {
    Request request("retrieve", "/store");
    request.setMimeType(kova::mimetypes::AXOBIN_TYPE);
    const std::string whole = bytesOf(ask(request)->values().at(0).getPayload());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(update(binary(whole.substr(0, size))), 400) << size;
    }
    EXPECT_EQ(update(binary(whole + whole)), 400);
    EXPECT_EQ(document(), DOCUMENT);
}

TEST_F(StoreTest, RejectsABinaryPayloadWithoutAJsonForm) {
    EXPECT_EQ(update(binary("\xf9\x7e\x01")), 409) << "not a number";
    EXPECT_EQ(update(binary("\xa1\x01\x02")), 400) << "a key that is not a text";
    EXPECT_EQ(update(binary(std::string(1000, '\x81') + "\x01")), 400) << "too deep";
    EXPECT_EQ(document(), DOCUMENT);
}

TEST_F(StoreTest, RandomPayloadsAreStoredOrRefused) {
    const std::set<unsigned short> sensible = {201, 204, 400, 409};
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(random() % 20, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
        EXPECT_EQ(sensible.count(update(binary(bytes))), 1U);
    }
    EXPECT_EQ(*kova::test::parseTree(test::readFile(file)), *kova::test::parseTree(document()));
}

TEST_F(StoreTest, RejectsPayloadsWithoutAStructure) {
    EXPECT_EQ(update(Payload::createFromString("7")), 400);
    for (char const* const type :
         {"application/octet-stream", "application/vnd.msgpack", "", "x"}) {
        unsigned char const seven = '7';
        EXPECT_EQ(update(Payload::createFromRaw(&seven, 1, type)), 400) << type;
    }
}

// Threads

TEST_F(StoreTest, ConcurrentRequestsAreSerialized) {
    constexpr int THREADS = 4;
    constexpr int REQUESTS = 25;
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < REQUESTS; ++i) {
                const std::string key = std::to_string(t * REQUESTS + i);
                const auto put =
                    ask(Request("insert", "/store/k" + key, Payload::createFromJSON(key)));
                EXPECT_EQ(put->code(), 201) << put->error();
                EXPECT_EQ(ask(Request("retrieve", "/store/k" + key))->text(), key);
                EXPECT_EQ(
                    ask(Request("update", "/store/volume", Payload::createFromJSON(key)))->code(),
                    204);
                EXPECT_EQ(
                    ask(Request("insert", "/store/list/-", Payload::createFromJSON(key)))->code(),
                    201);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const kova::test::Tree tree = kova::test::parseTree(document());
    EXPECT_EQ((*tree)["list"].arraySize(), 2U + THREADS * REQUESTS);
    for (int i = 0; i < THREADS * REQUESTS; ++i) {
        EXPECT_TRUE(tree->hasKey("k" + std::to_string(i))) << i;
    }
    EXPECT_EQ(*kova::test::parseTree(test::readFile(file)), *tree);
}

}  // namespace
}  // namespace device
