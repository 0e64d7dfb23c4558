// The cost of sending a value to its watchers. Each value is set, encoded once in the binary
// format, and passed to every watcher. The peers call the watchers on the thread that sets the
// value, and cannot skip a watcher that blocks. kova queues the value, and another thread calls the
// watchers. The result is the processor time of all threads.
#include <benchmark/benchmark.h>

#include <memory>
#include <utility>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/core/headers.h"
#include "kova/kit/Observable.h"
#include "support/Contest.h"
#include "support/Watchers.h"

namespace kova::bench {

namespace {

class Receiver : public IResponseHandler<Response> {
public:
    bool onNext(const Response& value) override {
        sink_.receive(value.getPayload());
        return false;
    }
    void onError(const Response&) override {}
    void onCompleted() override {}

private:
    Sink sink_;
};

/// An observable that waits for its watchers, so that each one gets every value.
struct Watched {
    explicit Watched(std::size_t watchers) : state(kitTrack()), handler(state.handler()) {
        state.options().queue(1024).whenFull(kit::Wait).patience(std::chrono::minutes(1));
        Request request("retrieve", "");
        request.setMimeType(mimetypes::AXOBin);
        headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
        for (std::size_t i = 0; i < watchers; ++i) {
            handler->actionRequest(request, std::make_unique<Receiver>(), "");
        }
    }

    kit::Observable<KitTrack> state;
    std::unique_ptr<IResourceHandler> handler;
};

auto byKova(std::size_t watchers) {
    return [watchers] {
        return [watched = std::make_shared<Watched>(watchers), track = kitTrack()]() mutable {
            ++track.number;
            watched->state.set(track);
            return track.number;
        };
    };
}

/// The watchers in a vector, called on the thread that sets the value, without a lock.
auto byHand(std::size_t watchers) {
    return [watchers] {
        std::vector<std::unique_ptr<IResponseHandler<Response>>> handlers;
        for (std::size_t i = 0; i < watchers; ++i) {
            handlers.push_back(std::make_unique<Receiver>());
        }
        return [handlers = std::make_shared<decltype(handlers)>(std::move(handlers)),
                track = kitTrack()]() mutable {
            ++track.number;
            const Response value(299, *kit::toPayload(track, mimetypes::AXOBIN_TYPE));
            for (const auto& handler : *handlers) {
                handler->onNext(value);
            }
            return track.number;
        };
    };
}

const Entries ENTRIES([] {
    for (const auto& [name, watchers] :
         {std::pair(SET_FOR_FEW, FEW_WATCHERS), std::pair(SET_FOR_MANY, MANY_WATCHERS)}) {
        contest(name, "kova", byKova(watchers))->MeasureProcessCPUTime();
        contest(name, "plain", byHand(watchers))->MeasureProcessCPUTime();
    }
});

}  // namespace

}  // namespace kova::bench
