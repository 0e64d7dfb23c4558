#include "kova/core/Request.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova {
namespace {

using util::config::Dictionary;
using util::config::Value;
using util::config::ValueInt;

std::string stringOf(const Value& value) {
    std::string text;
    EXPECT_FALSE(value.get(text));
    return text;
}

TEST(RequestTest, ConstructorsStoreTheirArguments) {
    const Payload payload = Payload::createFromString("body");
    auto header = std::make_shared<Dictionary>();
    header->add("key", new ValueInt(1));

    const Request plain("retrieve", "/a");
    EXPECT_EQ(plain.getCommand(), "retrieve");
    EXPECT_EQ(plain.getPath(), "/a");
    EXPECT_TRUE(plain.getPayload().isEmpty());

    EXPECT_EQ(Request("update", "/a", payload).getPayload().data(), payload.data());
    EXPECT_EQ(Request("update", "/a", Payload(payload)).getPayload().data(), payload.data());

    const Request withBoth("update", "/a", Payload(payload), header);
    EXPECT_EQ(withBoth.getPayload().data(), payload.data());
    EXPECT_EQ(&withBoth.getHeader(), header.get());

    const Request withShared("update", "/a", payload, header);
    EXPECT_EQ(withShared.getPayload().data(), payload.data());
    EXPECT_EQ(&withShared.getHeader(), header.get());

    Request withHeader("retrieve", "/a", header);
    withHeader.add2header("more", new ValueInt(2));
    EXPECT_TRUE(header->hasKey("more"));
    EXPECT_TRUE(withBoth.getHeader().hasKey("more"));
}

TEST(RequestTest, MimeTypeIsStoredInTheAcceptEntry) {
    Request request("retrieve", "/a");
    EXPECT_EQ(&request.getMimeTypeHeader(), &util::config::Value::getUndefined());
    request.setMimeType("x/y");
    EXPECT_EQ(stringOf(request.getMimeTypeHeader()), "x/y");
    EXPECT_EQ(stringOf(request.getHeaderValue("$accept")), "x/y");
}

struct MimeRow {
    int id;
    char const* written;
};

TEST(RequestTest, OnlyFourMimeTypeIdsAreWritten) {
    const MimeRow rows[] = {{1, "application/json"},
                            {2, "plain/text"},
                            {3, "application/octet-stream"},
                            {5, "application/vnd.axobin"},
                            {0, "before"},
                            {4, "before"},
                            {6, "before"},
                            {-1, "before"}};
    for (const MimeRow& row : rows) {
        Request request("retrieve", "/a");
        request.setMimeType("before");
        request.setMimeType(static_cast<mimetypes::MimeTypeID>(row.id));
        EXPECT_EQ(stringOf(request.getMimeTypeHeader()), row.written) << row.id;
    }
    Request untouched("retrieve", "/a");
    untouched.setMimeType(mimetypes::MsgPack);
    EXPECT_EQ(&untouched.getHeader(), &util::config::Value::getUndefined());
}

TEST(RequestTest, PrintsAsOneLine) {
    Request request("retrieve", "/a/b");
    EXPECT_EQ(request.toString(), "cmd=retrieve path=/a/b header='' payload='<empty>'");
    request.add2header("b", new ValueInt(1));
    request.add2header("a", Value::getNull());
    Value::g_print_compact = false;
    EXPECT_EQ(request.toString(),
              R"(cmd=retrieve path=/a/b header='{"a":null,"b":1}' payload='<empty>')");
    EXPECT_FALSE(Value::g_print_compact);
    Value::g_print_compact = true;
    EXPECT_NE(request.toString(), "");
    EXPECT_TRUE(Value::g_print_compact);
    Value::g_print_compact = false;
}

TEST(RequestTest, ConcurrentPrintsAreCompactAndRestoreTheCompactFlag) {
    Request request("retrieve", "/a");
    request.add2header("a", new ValueInt(1));
    request.add2header("b", new ValueInt(2));
    const std::string expected = request.toString();
    std::vector<std::thread> threads;
    std::vector<int> different(4, 0);
    for (int& count : different) {
        threads.emplace_back([&request, &expected, &count] {
            for (int i = 0; i < 500; ++i) {
                count += request.toString() == expected ? 0 : 1;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(different, std::vector<int>(4, 0));
    EXPECT_FALSE(Value::g_print_compact);
}

}  // namespace
}  // namespace kova
