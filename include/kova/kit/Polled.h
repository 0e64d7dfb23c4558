#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Alarm.h"
#include "kova/kit/Command.h"
#include "kova/kit/Schema.h"
#include "kova/kit/Values.h"
#include "kova/kit/resources/Streaming.h"

namespace kova::kit {

namespace detail {

/// A timer that calls a function at every interval while a stream has watchers.
class KOVA_KIT_API Polling {
public:
    /// Throws `std::invalid_argument` if the interval is not between 1 and 2^32 - 1 milliseconds.
    Polling(const Streaming& stream, std::chrono::milliseconds interval,
            std::function<void()> function);
    /// Waits until the function is not running. Does not wait if the function itself destroys the
    /// object.
    ~Polling();
    Polling(const Polling&) = delete;
    Polling& operator=(const Polling&) = delete;

    /// Begins the regular calls of the function, unless they have already begun.
    void start();

private:
    KOVA_KIT_LOCAL void expire();

    const std::shared_ptr<Served> served_;
    const unsigned int interval_;
    const std::function<void()> function_;
    std::mutex mutex_;
    bool isRunning_ = false;
    FunctionalAlarm alarm_;
};

/// The data of a `Polled`.
template <typename T>
class PolledSource final : public StreamSource {
public:
    explicit PolledSource(std::function<Result<T>()> read) : readValue(std::move(read)) {}

    std::shared_ptr<Change> snapshot() const override { return latest; }
    Result<std::shared_ptr<Change>> read() override {
        Result<T> value = readValue();
        if (!value) {
            return value.error();
        }
        return std::shared_ptr<Change>(std::make_shared<ValueChange<T>>(*std::move(value)));
    }
    void watched() override {
        if (const std::shared_ptr<Polling> alive = polling.lock()) {
            alive->start();
        }
    }
    std::vector<Operation> operations(const Hub& /*hub*/) const override {
        return {{std::string(command::retrieve), "", nullptr, &schemaOf<T>, true}};
    }

    /// Reads the value and sends it to all watchers.
    void poll(Hub& hub) {
        Result<std::shared_ptr<Change>> value = read();
        if (value) {
            auto former = *value;  // destroyed without the lock
            publishWith(hub, *std::move(value), [&] {
                former.swap(latest);
                return true;
            });
        }
    }

    const std::function<Result<T>()> readValue;
    /// Set before the first request. Expires when the `Polled` is destroyed; the function that
    /// reads the value may destroy it.
    std::weak_ptr<Polling> polling;
    /// The value of the latest poll. Guarded by the lock of the hub.
    std::shared_ptr<Change> latest;
};

}  // namespace detail

/// A value that a function reads, such as the state of a sensor, of a file or of the system. The
/// function is called when a client retrieves the value, and at every interval while clients watch
/// it. `T` is a type of `Values.h`.
///
/// A stream begins with a value that is read for the new watcher. The values that are read at each
/// interval follow. While no client watches the value, no timer is running. Each watcher has a
/// queue of values, as for an `Observable`. If the function returns an error, a client that
/// retrieves the value or begins to watch it gets this error. At an interval the error is ignored,
/// and the stream continues when the value can be read again. An exception of the function is
/// reported and treated as an error.
///
/// Several threads may call the function at the same time: those that send requests, and the thread
/// of the alarms, which also serves other alarms of the process. A function that takes long should
/// run in a thread of the user, which sets an `Observable`.
///
/// A handle of shared state (`Mountable`). The destructor ends the streams with 503 and waits until
/// neither the function nor a receiver is running. If the function or a receiver destroys the
/// object, the destructor does not wait for it.
///
///     kova::kit::Polled<double> temperature(
///         []() -> kova::kit::Result<double> { return 21.5; }, std::chrono::milliseconds(500));
template <typename T>
class Polled final : public detail::Streaming {
public:
    /// The function that reads the value.
    using Read = std::function<Result<T>()>;

    /// Sets the function and the interval. Throws `std::invalid_argument` if the interval is not
    /// between 1 and 2^32 - 1 milliseconds.
    explicit Polled(Read read, std::chrono::milliseconds interval = std::chrono::seconds(1))
        : Polled(std::make_shared<detail::PolledSource<T>>(std::move(read)), interval) {}
    ~Polled() { close(); }

private:
    Polled(const std::shared_ptr<detail::PolledSource<T>>& source,
           std::chrono::milliseconds interval)
        : Streaming(source, {16, Conflate}),
          polling_(std::make_shared<detail::Polling>(
              *this, interval, [source, served = served(), &hub = hub()] { source->poll(hub); })) {
        source->polling = polling_;
    }

    const std::shared_ptr<detail::Polling> polling_;
};

}  // namespace kova::kit
