#include "kova/kit/ObservableMap.h"

#include <gtest/gtest.h>

#include "Watch.h"

namespace kova::kit {
namespace {

using test::Watch;
using Texts = std::vector<std::string>;
using Levels = std::map<std::string, int>;

TEST(ObservableMap, ElementsCanBeAddedReplacedAndRemoved) {
    ObservableMap<int> map({{"bath", 20}});
    map.set("attic", 10);
    map.set("bath", 21);
    EXPECT_EQ(map.get(), (Levels{{"attic", 10}, {"bath", 21}}));
    EXPECT_TRUE(map.remove("attic"));
    EXPECT_FALSE(map.remove("attic"));
    EXPECT_EQ(map.size(), 1U);
    EXPECT_EQ(map.get("bath"), 21);
    EXPECT_EQ(map.get("attic"), std::nullopt);
}

TEST(ObservableMap, RetrieveReturnsTheMapOrAnElement) {
    ObservableMap<int> map({{"attic", 10}, {"bath", 20}});
    const Watch watch(map);
    EXPECT_EQ(watch.retrieve()->values(1), Texts{R"({"attic":10,"bath":20})"});
    EXPECT_EQ(watch.retrieve("bath")->values(1), Texts{"20"});
    EXPECT_EQ(watch.retrieve("cellar")->end(), "404 Not Found: path 'cellar' not found");
}

TEST(ObservableMap, StreamBeginsWithTheMapAndContinuesWithChanges) {
    ObservableMap<int> map({{"bath", 20}});
    const auto answers = Watch(map).watch();
    answers->values(1);
    map.set("attic", 10);
    map.set("attic", 11);
    map.remove("cellar");
    map.remove("bath");
    map.assign({{"hall", 1}});
    EXPECT_EQ(answers->values(5),
              (Texts{R"({"whole":{"bath":20}})", R"({"kind":"ADDED","key":"attic","value":10})",
                     R"({"kind":"MODIFIED","key":"attic","value":11})",
                     R"({"kind":"REMOVED","key":"bath"})", R"({"whole":{"hall":1}})"}));
}

TEST(ObservableMap, AppliedChangesReproduceTheMap) {
    ObservableMap<int> map({{"bath", 20}});
    Levels copy;
    const auto answers = std::make_shared<test::Answers>();
    answers->onValue = [&](const Response& value) {
        EXPECT_TRUE(fromPayload<MapChange<int>>(value.getPayload())->applyTo(copy));
        return copy == Levels{{"attic", 11}};
    };
    Watch(map).watch(answers);
    map.set("attic", 10);
    map.set("attic", 11);
    map.remove("bath");
    EXPECT_EQ(answers->end(), "completed");
}

TEST(MapChange, InvalidChangeLeavesTheMapUnchanged) {
    Levels map{{"a", 1}};
    for (char const* const text :
         {"{}", R"({"kind":"ADDED","key":"b"})", R"({"kind":"ADDED","key":"a","value":5})",
          R"({"kind":"MODIFIED","key":"b","value":5})", R"({"kind":"REMOVED","key":"b"})",
          R"({"kind":"REMOVED"})", R"({"key":"a","value":5})"}) {
        const auto change = fromPayload<MapChange<int>>(Payload::createFromJSON(text));
        ASSERT_TRUE(change) << text;
        EXPECT_FALSE(change->applyTo(map)) << text;
    }
    EXPECT_EQ(map, (Levels{{"a", 1}}));
}

}  // namespace
}  // namespace kova::kit
