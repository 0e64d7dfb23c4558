#include "kova/kit/ObservableList.h"

#include <gtest/gtest.h>

#include "Watch.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/kit/Client.h"

namespace kova::kit {
namespace {

using test::Watch;
using Texts = std::vector<std::string>;
using Names = std::vector<std::string>;

TEST(ObservableList, ElementsCanBeInsertedReplacedAndRemoved) {
    ObservableList<std::string> list({"b"});
    list.append("d");
    EXPECT_TRUE(list.insert(0, "a"));
    EXPECT_TRUE(list.insert(3, "e"));
    EXPECT_TRUE(list.insert(2, "x"));
    EXPECT_TRUE(list.set(2, "c"));
    EXPECT_EQ(list.get(), (Names{"a", "b", "c", "d", "e"}));
    EXPECT_TRUE(list.remove(1));
    EXPECT_EQ(list.get(), (Names{"a", "c", "d", "e"}));
    EXPECT_EQ(list.size(), 4U);
    EXPECT_EQ(list.get(3), "e");
    EXPECT_EQ(list.get(4), std::nullopt);
}

TEST(ObservableList, IndexBeyondTheEndLeavesTheListUnchanged) {
    ObservableList<int> list({1, 2});
    const auto answers = Watch(list).watch();
    EXPECT_FALSE(list.insert(3, 9));
    EXPECT_FALSE(list.set(2, 9));
    EXPECT_FALSE(list.remove(2));
    EXPECT_EQ(list.get(), (std::vector<int>{1, 2}));
    list.append(3);
    EXPECT_EQ(answers->values(2),
              (Texts{R"({"whole":[1,2]})", R"({"kind":"ADDED","index":2,"value":3})"}));
}

TEST(ObservableList, RetrieveReturnsTheListOrAnElement) {
    ObservableList<int> list({3, 5, 8});
    const Watch watch(list);
    EXPECT_EQ(watch.retrieve()->values(1), Texts{"[3,5,8]"});
    EXPECT_EQ(watch.retrieve("2")->values(1), Texts{"8"});
    EXPECT_EQ(watch.retrieve("2")->end(), "completed");
    for (char const* const path : {"3", "-1", "1x", "x", "99999999999999999999"}) {
        EXPECT_EQ(watch.retrieve(path)->end(),
                  "404 Not Found: path '" + std::string(path) + "' not found");
    }
    EXPECT_EQ(watch.send(Request("delete", "2"))->end(),
              "400 Bad Request: command 'delete' not supported for path '2'; supported: retrieve");
}

// The queue of an endpoint must not drop changes that build on each other.
TEST(ObservableList, HeaderStatesDisconnectForPoliciesThatDropChanges) {
    ObservableList<int> list({3, 5});
    std::string queue;
    for (const WhenFull policy : {Conflate, DropOldest, Disconnect}) {
        list.options().queue(7).whenFull(policy);
        const auto answers = Watch(list).watch();
        answers->values(1);
        EXPECT_FALSE(answers->last().getHeaderValue(STREAM_QUEUE).get(queue));
        EXPECT_EQ(queue, "7 disconnect");
    }
    list.options().whenFull(Wait);
    const auto answers = Watch(list).watch();
    answers->values(1);
    EXPECT_FALSE(answers->last().getHeaderValue(STREAM_QUEUE).get(queue));
    EXPECT_EQ(queue, "7 wait");
}

TEST(ObservableList, ServesAClientThroughAComposedService) {
    ObservableList<int> list({3, 5, 8});
    std::map<std::string, std::unique_ptr<IResourceHandler>> mounts;
    mounts["/list"] = list.handler();
    StaticComposedKovaService service(std::move(mounts));
    Client client(service);
    EXPECT_EQ(*client.retrieve<std::vector<int>>("/list").get(), (std::vector<int>{3, 5, 8}));
    EXPECT_EQ(*client.retrieve<int>("/list/2").get(), 8);
    EXPECT_EQ(client.retrieve<int>("/list/3").get().error().message, "path '/list/3' not found");
}

TEST(ObservableList, StreamBeginsWithTheListAndContinuesWithChanges) {
    ObservableList<std::string> list({"a"});
    const auto answers = Watch(list).watch();
    answers->values(1);
    list.append("b");
    list.set(0, "c");
    list.remove(1);
    list.assign({"x", "y"});
    EXPECT_EQ(answers->values(5),
              (Texts{R"({"whole":["a"]})", R"({"kind":"ADDED","index":1,"value":"b"})",
                     R"({"kind":"MODIFIED","index":0,"value":"c"})",
                     R"({"kind":"REMOVED","index":1})", R"({"whole":["x","y"]})"}));
}

TEST(ObservableList, AppliedChangesReproduceTheList) {
    for (char const* const format : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE}) {
        ObservableList<int> list({1});
        std::vector<int> copy;
        std::mutex mutex;
        const auto answers = std::make_shared<test::Answers>();
        answers->onValue = [&](const Response& value) {
            const std::lock_guard<std::mutex> guard(mutex);
            EXPECT_TRUE(fromPayload<ListChange<int>>(value.getPayload())->applyTo(copy));
            return copy == std::vector<int>{4, 3};
        };
        Watch(list).send(Watch::streamRequest(format), answers);
        list.insert(0, 2);
        list.append(3);
        list.remove(1);
        list.set(0, 4);
        EXPECT_EQ(answers->end(), "completed");
    }
}

TEST(ListChange, InvalidChangeLeavesTheListUnchanged) {
    std::vector<int> list{1};
    for (char const* const text :
         {"{}", R"({"kind":"ADDED","index":0})", R"({"kind":"ADDED","index":2,"value":5})",
          R"({"kind":"MODIFIED","index":1,"value":5})", R"({"kind":"REMOVED","index":1})",
          R"({"kind":"REMOVED"})", R"({"index":0,"value":5})"}) {
        const auto change = fromPayload<ListChange<int>>(Payload::createFromJSON(text));
        ASSERT_TRUE(change) << text;
        EXPECT_FALSE(change->applyTo(list)) << text;
    }
    EXPECT_EQ(list, std::vector<int>{1});
}

}  // namespace
}  // namespace kova::kit
