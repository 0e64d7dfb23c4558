// The examples of the guide's first page about the kit, written in C++20. The other tests contain
// the same examples in C++17.
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Coroutine.h"
#include "kova/kit/Loop.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;

struct Volume {
    int level = 30;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, optional(muted))
struct State {
    int position = 0;
};
KOVA_FIELDS(State, position)
struct Track {
    std::string title;
};
KOVA_FIELDS(Track, title)
struct Progress {
    int step = 0;
    int of = 0;
};
KOVA_FIELDS(Progress, step, of)

Response json(unsigned short code, const std::string& text) {
    return {code, Payload::createFromJSON(text)};
}

TEST(SketchTest, AllFunctionsOfAClientWorkTogether) {
    test::HeldService service;
    std::vector<Response> answers{json(200, R"({"level":40})"), Response(200)};
    service.onRequest = [&](std::size_t number) {
        if (number <= answers.size()) {
            service.answer(number, answers[number - 1]);
        }
    };
    kova::kit::Client client(
        service,
        {.servicePath = "/player", .clientId = "hmi", .accept = kova::mimetypes::JSON_TYPE});

    Result<Volume> v = client.retrieve<Volume>("/volume").get(500ms);
    ASSERT_TRUE(v) << v.error().message;
    EXPECT_EQ(v->level, 40);
    client.update("/volume", Volume{55, false}).get().orThrow();

    Loop executor;
    std::vector<int> shown;
    std::vector<std::string> logged;
    Subscription s = client.watch<State>("/state")
                         .onValue([&](const State& state) { shown.push_back(state.position); })
                         .onEnd([&](const End& end) { logged.push_back(end.toString()); })
                         .start(executor);
    service[3].onNext(json(299, R"({"position":7})"));
    executor.runReady();
    EXPECT_EQ(shown, (std::vector<int>{7}));
    s.reset();
    EXPECT_TRUE(logged.empty());

    std::future<Track> f = client.retrieve<Track>("/library/2").future();
    service.answer(4, json(200, R"({"title":"a"})"));
    EXPECT_EQ(f.get().title, "a");

    std::vector<int> bar;
    service.onRequest = [&](std::size_t number) {
        service[number].onNext(json(298, R"({"step":1,"of":1})"));
        service.answer(number, json(201, R"({"title":"b"})"));
    };
    auto t = client.insert<Track>("/library", "usb")
                 .onProgress<Progress>([&](const Progress& p) { bar.push_back(p.step); })
                 .get(5s);
    EXPECT_EQ(t->title, "b");
    EXPECT_EQ(bar, (std::vector<int>{1}));

    Result<FullReply<Track>> r =
        client.retrieve<Track>("/library/2").header("zone", 3).full().get();
    EXPECT_EQ(r->code(), 201);
    EXPECT_EQ(r->value.title, "b");
    EXPECT_TRUE(client.close(2s).empty());
}

}  // namespace
}  // namespace kova::kit
