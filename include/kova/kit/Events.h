#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/kit/Command.h"
#include "kova/kit/Schema.h"
#include "kova/kit/Values.h"
#include "kova/kit/resources/Streaming.h"

namespace kova::kit {

namespace detail {

/// The stream source of `Events`. It has no data.
template <typename T>
class EventSource final : public StreamSource {
public:
    std::shared_ptr<Change> snapshot() const override { return nullptr; }
    std::vector<Operation> operations(const Hub&) const override {
        return {{std::string(command::retrieve), "", nullptr, &schemaOf<T>, true}};
    }
};

}  // namespace detail

/// A source of events that clients watch as a stream (`Client::watch`). `T` is a type that
/// `Values.h` lists.
///
/// Unlike an `Observable`, it has no current value. A stream consists of the events that are sent
/// after the stream began. A request for one value is answered with an error. A watcher gets every
/// event, or the number of events that it has lost. By default the queue of each watcher has space
/// for 64 events, and a watcher that does not keep up is disconnected with 503. With another policy
/// (`options`), the event after lost events has the header entry `STREAM_LOST` with their number.
/// `Conflate`, which keeps only the newest event, counts the replaced events as lost, too.
///
/// Any thread may call any function, also inside a receiver. `send` queues the event and returns.
/// `Observable` describes the threads that deliver the events, and the wait in the destructor.
///
///     kova::kit::Events<std::string> alarms;
///     alarms.options().queue(256).whenFull(kova::kit::DropOldest);
///     alarms.send("the door is open");
template <typename T>
class Events final : public detail::Streaming {
public:
    Events() : Streaming(std::make_shared<detail::EventSource<T>>(), {64, Disconnect}) {}

    /// @{
    /// Sends an event to all watchers.
    void send(const T& event) { queue(detail::makeChange<detail::ValueChange<T>>(event)); }
    void send(T&& event) { queue(detail::makeChange<detail::ValueChange<T>>(std::move(event))); }
    /// @}

private:
    void queue(std::shared_ptr<detail::Change> event) {
        detail::publishWith(hub(), std::move(event), [] { return true; });
    }
};

}  // namespace kova::kit
