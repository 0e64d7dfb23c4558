#include <sigc++/sigc++.h>

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
            signal.connect(sigc::mem_fun(sink, &Sink::receive));
        }
    }

    std::vector<Sink> sinks;
    sigc::signal<void(const Payload&)> signal;
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
    contest(SET_FOR_FEW, "libsigc++", bySignal(FEW_WATCHERS))->MeasureProcessCPUTime();
    contest(SET_FOR_MANY, "libsigc++", bySignal(MANY_WATCHERS))->MeasureProcessCPUTime();
});

}  // namespace

}  // namespace kova::bench
