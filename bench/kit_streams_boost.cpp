#include <boost/signals2.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/Contest.h"
#include "support/Watchers.h"

namespace kova::bench {

namespace {

/// A signal and its watchers.
struct Signalled {
    explicit Signalled(std::size_t watchers) : sinks(watchers) {
        for (Sink& sink : sinks) {
            signal.connect([&sink](const Payload& value) { sink.receive(value); });
        }
    }

    std::vector<Sink> sinks;
    boost::signals2::signal<void(const Payload&)> signal;
};

auto bySignal(std::size_t watchers) {
    return [watchers] {
        return [signalled = std::make_shared<Signalled>(watchers), track = kitTrack()]() mutable {
            ++track.number;
            signalled->signal(*kit::toPayload(track, mimetypes::AXOBIN_TYPE));
            return track.number;
        };
    };
}

const Entries ENTRIES([] {
    contest(SET_FOR_FEW, "Boost", bySignal(FEW_WATCHERS))->MeasureProcessCPUTime();
    contest(SET_FOR_MANY, "Boost", bySignal(MANY_WATCHERS))->MeasureProcessCPUTime();
});

}  // namespace

}  // namespace kova::bench
