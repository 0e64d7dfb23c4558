// A service whose values clients watch: a state, events and a list.
#include <chrono>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Events.h"
#include "kova/kit/Observable.h"
#include "kova/kit/ObservableList.h"
#include "kova/kit/Service.h"
#include "kova/kit/Stream.h"

using kova::kit::Client;
using kova::kit::Error;
using kova::kit::ListChange;
using kova::kit::Observable;
using kova::kit::Result;
using kova::kit::Stream;
using std::chrono::seconds;

struct Position {
    std::string track;
    int second = 0;
};
KOVA_FIELDS(Position, track, second)

std::string text(const Position& position) {
    return position.track + " at " + std::to_string(position.second);
}

void watchState(const Client& client, Observable<Position>& position) {
    Stream<Position> values(client.watch<Position>("/position"));
    std::cout << text(*values.wait(seconds(5))) << ", which it was before\n";
    position.modify([](Position& current) { current.second += 10; });
    std::cout << text(*values.wait(seconds(5))) << ", changed by the service\n";
    client.update("/position", Position{"Fugue", 0}).get().orThrow();
    std::cout << text(*values.wait(seconds(5))) << ", changed by a client\n";
    const Result<void> refused = client.update("/position", Position{"Fugue", -1}).get();
    std::cout << refused.error().toString() << '\n';
}

void watchEvents(const Client& client, kova::kit::Events<std::string>& alarms) {
    Stream<std::string> received(client.watch<std::string>("/alarms"));
    alarms.send("the volume is high");
    std::cout << *received.wait(seconds(5)) << '\n';
    const auto once = client.retrieve<std::string>("/alarms").get();
    std::cout << once.error().toString() << '\n';
}

void watchList(const Client& client, kova::kit::ObservableList<std::string>& playlist) {
    Stream<ListChange<std::string>> changes(client.watch<ListChange<std::string>>("/playlist"));
    playlist.append("Gigue");
    playlist.remove(0);
    std::vector<std::string> copy;
    for (int i = 0; i < 3; ++i) {  // the whole list, and two changes
        static_cast<void>(changes.wait(seconds(5))->applyTo(copy));
        std::cout << "the copy has " << copy.size() << " tracks, the first is " << copy[0] << '\n';
    }
}

// A display that does not return from its function while the position changes five times.
void watchSlowly(const Client& client, Observable<Position>& position) {
    while (position.isWatched()) {  // waits until the former watcher is removed
        std::this_thread::yield();
    }
    std::promise<void> hasFirst;
    std::promise<void> hasLast;
    std::promise<void> mayContinue;
    const auto display = client.watch<Position>("/position")
                             .onValue([&](const Position& value) {
                                 std::cout << "the display shows " << text(value) << '\n';
                                 if (value.second == 0) {
                                     hasFirst.set_value();
                                     mayContinue.get_future().wait();
                                 } else if (value.second == 5) {
                                     hasLast.set_value();
                                 }
                             })
                             .start();
    hasFirst.get_future().wait();
    for (int second = 1; second <= 5; ++second) {
        position.set({"Fugue", second});
    }
    const auto watcher = position.watchers().at(0);
    std::cout << watcher.queued << " change waits, " << watcher.conflated << " were replaced\n";
    mayContinue.set_value();
    hasLast.get_future().wait();
}

int main() {
    Observable<Position> position({"Prelude", 0});
    position.options().queue(4).whenFull(kova::kit::Conflate);
    position.onWrite([](const Position& wanted) -> Result<void> {
        if (wanted.second < 0) {
            return Error{400, "before the beginning of the track"};
        }
        return {};
    });
    kova::kit::Events<std::string> alarms;
    kova::kit::ObservableList<std::string> playlist({"Prelude", "Fugue"});
    kova::kit::ServiceBuilder builder;
    builder.mount("/position", position).mount("/alarms", alarms).mount("/playlist", playlist);
    const auto service = builder.build();

    const Client client(*service);
    watchState(client, position);
    watchSlowly(client, position);
    watchList(client, playlist);
    watchEvents(client, alarms);

    Stream<Position> last(client.watch<Position>("/position"));
    std::cout << text(*last.wait(seconds(5))) << '\n';
    service->stop(seconds(2));
    std::cout << last.wait(seconds(5)).error().toString() << '\n';
}
