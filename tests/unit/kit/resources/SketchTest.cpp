// The examples of the guide's chapters about services, written in C++20. The other tests contain
// the same examples in C++17.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;

struct Entry {
    std::string title;
};
KOVA_FIELDS(Entry, title)
struct Track {
    std::string title;
};
KOVA_FIELDS(Track, title)
struct Progress {
    unsigned step = 0;
    unsigned of = 0;
};
KOVA_FIELDS(Progress, step, of)
struct State {
    int position = 0;
};
KOVA_FIELDS(State, position)

class Sensor {
public:
    template <typename Function>
    void read(Function function) {
        thread_ = std::thread([function = std::move(function)]() mutable { function(21.5); });
    }
    ~Sensor() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    std::thread thread_;
};

TEST(SketchTest, FunctionsOfAllFormsWorkInOneService) {
    std::map<unsigned, Entry> entries{{1, {"one"}}};
    const auto find = [&](unsigned id) -> Result<Entry> {
        const auto found = entries.find(id);
        return found != entries.end() ? Result<Entry>(found->second) : Error{404, "no such entry"};
    };
    Worker worker;
    Sensor sensor;
    Resource device;

    Resource playlist;
    playlist.on(command::retrieve, "", [&](const Ask&) { return entries.size(); });
    playlist.on(command::retrieve, "{id:uint}",
                [&](const Ask&, unsigned id) -> Result<Entry> { return find(id); });
    playlist.on(command::insert, "", [&](const Ask&, const Entry& e) {
        entries[2] = e;
        return created(2U);
    });
    playlist.on(command::remove, "{id:uint}", [&](const Ask& a, unsigned id) {
        return entries.erase(id) != 0 ? done() : notFound(a);
    });
    playlist.on(command::insert, "scan", worker,
                [&](Job& job, const std::string& folder) -> Result<Track> {
                    for (unsigned i = 1; i <= 5 && !job.cancelled(); ++i) {
                        job.progress(Progress{i, 5});
                    }
                    return Track{folder};
                });
    device.on(command::retrieve, "temp", [&](const Ask&, Reply<double> reply) {
        sensor.read([r = std::move(reply)](double celsius) mutable { r.value(celsius); });
    });

    Observable<State> state;
    state.set({3});
    state.modify([](State& s) { ++s.position; });
    state.options().queue(16).whenFull(Conflate);
    state.onWrite([](const State& wanted) -> Result<void> {
        return wanted.position >= 0 ? done() : Error{400, "before the beginning"};
    });

    Resource other;
    const auto otherService = ServiceBuilder().mount("/there", other).build();
    ServiceBuilder b;
    b.name("player").version("1.2.0");
    b.mount("/playlist", playlist).mount("/state", state).mount("/device", device);
    b.mount("/remote", *otherService);
    auto usb = b.slot("/usb");
    b.onUncaught([](const Error& error) { return error; });
    auto service = b.build();

    Client client(*service, {.clientId = "hmi", .accept = mimetypes::AXOBIN_TYPE});
    EXPECT_EQ(client.retrieve<Entry>("/playlist/1").get().orThrow().title, "one");
    EXPECT_EQ(client.insert<unsigned>("/playlist", Entry{"two"}).get().orThrow(), 2U);
    EXPECT_TRUE(client.remove("/playlist/2").get());
    EXPECT_EQ(client.remove("/playlist/2").get().error().code, 404);
    std::vector<unsigned> bar;
    const auto track = client.insert<Track>("/playlist/scan", "usb")
                           .onProgress<Progress>([&](const Progress& p) { bar.push_back(p.step); })
                           .get(1min);
    EXPECT_EQ(track.orThrow().title, "usb");
    EXPECT_EQ(bar.size(), 5U);
    EXPECT_EQ(client.retrieve<double>("/device/temp").get().orThrow(), 21.5);
    EXPECT_EQ(client.retrieve<State>("/state").get().orThrow().position, 4);
    EXPECT_EQ(client.update("/state", State{-1}).get().error().message, "before the beginning");
    EXPECT_TRUE(client.update("/state", State{9}).get());
    EXPECT_EQ(state.get().position, 9);
    EXPECT_EQ(client.retrieve<std::vector<std::string>>("/remote").get().orThrow(),
              (std::vector<std::string>{"/there"}));
    EXPECT_EQ(client.retrieve<int>("/usb").get().error().code, 503);
    usb.set(device);
    EXPECT_EQ(client.retrieve<double>("/usb/none").get().error().code, 404);
    usb.clear();

    auto stuck = service->stop(1min);
    EXPECT_TRUE(stuck.empty());
}

}  // namespace
}  // namespace kova::kit
