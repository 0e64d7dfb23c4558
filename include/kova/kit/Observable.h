#pragma once

#include <functional>
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

/// The data of an `Observable`.
template <typename T>
class ObservableSource final : public StreamSource {
public:
    using Check = std::function<Result<void>(const T&)>;

    explicit ObservableSource(T&& value) : current(makeChange<ValueChange<T>>(std::move(value))) {}

    std::shared_ptr<Change> snapshot() const override { return current; }

    bool isWritable(const Hub& hub) const override { return checkOf(hub) != nullptr; }
    Result<void> write(Hub& hub, const Payload& body) override {
        Result<T> wanted = fromPayload<T>(body);
        if (!wanted) {
            return wanted.error();
        }
        const std::shared_ptr<const Check> check = checkOf(hub);
        Result<void> accepted = check ? (*check)(*wanted) : Result<void>();
        if (accepted) {
            set(hub, *std::move(wanted));
        }
        return accepted;
    }
    std::vector<Operation> operations(const Hub& hub) const override {
        std::vector<Operation> result{
            {std::string(command::retrieve), "", nullptr, &schemaOf<T>, true}};
        if (isWritable(hub)) {
            result.push_back({std::string(command::update), "", &schemaOf<T>, nullptr, false});
        }
        return result;
    }

    template <typename Value>
    void set(Hub& hub, Value&& value) {
        auto change = makeChange<ValueChange<T>>(std::forward<Value>(value));
        auto former = change;  // destroyed without the lock
        publishWith(hub, std::move(change), [&] {
            former.swap(current);
            return true;
        });
    }

    /// @{
    /// The members below are guarded by the lock of the hub.
    std::shared_ptr<ValueChange<T>> current;
    std::shared_ptr<const Check> check;
    /// @}

private:
    std::shared_ptr<const Check> checkOf(const Hub& hub) const {
        std::shared_ptr<const Check> result;
        readWith(hub, [&] { result = check; });
        return result;
    }
};

}  // namespace detail

/// A value that clients retrieve once, watch as a stream of its changes (`Client::watch`), and may
/// update. `T` is a type of `Values.h` that can be copied.
///
/// A stream begins with the current value. Each later value follows in order; no value is missed or
/// repeated. Each watcher has a queue of values, by default for up to 16 values. If the queue is
/// full, the watcher gets only the newest value (`options`). A value is encoded once for all
/// watchers of a format, when the first of these watchers gets it.
///
/// Any thread may call any function, also inside a receiver of the values. `set` and `modify` queue
/// the value and return; threads of the kit deliver it. The process has up to 16 such threads for
/// any number of watchers. A receiver that blocks occupies one thread. Within some milliseconds,
/// another thread delivers the values of the other receivers. If all 16 threads are occupied, the
/// receiver that has blocked the longest is disconnected, and its thread is replaced. That receiver
/// gets the error 503 when it returns. Up to 16 threads are replaced at a time.
///
/// A handle of shared state (`Mountable`). The destructor ends the streams with 503 and waits until
/// no receiver is running. If a receiver of its values destroys the object, the destructor does not
/// wait.
///
///     kova::kit::Observable<int> level(30);
///     level.options().queue(4).whenFull(kova::kit::DropOldest);
///     level.onWrite([](const int& wanted) -> kova::kit::Result<void> {
///         return wanted <= 100 ? kova::kit::Result<void>() : kova::kit::Error{400, "too loud"};
///     });
///     level.modify([](int& value) { value += 5; });
template <typename T>
class Observable final : public detail::Streaming {
public:
    /// The type of the function that accepts or rejects a value that a client wants to set.
    using Check = std::function<Result<void>(const T& wanted)>;

    /// Creates an observable with this first value.
    explicit Observable(T value = T())
        : Observable(std::make_shared<detail::ObservableSource<T>>(std::move(value))) {}

    /// @{
    /// Sets the value.
    void set(const T& value) { source_->set(hub(), value); }
    void set(T&& value) { source_->set(hub(), std::move(value)); }
    /// @}
    /// Calls `change(value)` with a copy of the value, without a lock, and sets the copy. If
    /// another thread has set the value meanwhile, calls `change` again with a new copy.
    template <typename Function>
    void modify(Function&& change) {
        bool done = false;
        while (!done) {
            auto former = current();
            T copy = former->value;
            change(copy);
            auto next = detail::makeChange<detail::ValueChange<T>>(std::move(copy));
            detail::publishWith(hub(), next, [&] {
                done = source_->current == former;
                if (done) {
                    source_->current = std::move(next);
                }
                return done;
            });
        }
    }
    /// Returns a copy of the value.
    T get() const { return current()->value; }
    /// Lets clients update the value. If `check` accepts the value, the value is set. If `check`
    /// returns an error, the request is answered with this error. The function is called on the
    /// thread of the request, without a lock. Without a function, or with an empty one, the value
    /// is read-only.
    void onWrite(Check check) {
        auto next = check ? std::make_shared<const Check>(std::move(check)) : nullptr;
        detail::readWith(hub(), [&] { source_->check.swap(next); });
    }

private:
    explicit Observable(std::shared_ptr<detail::ObservableSource<T>> source)
        : Streaming(source, {16, Conflate}), source_(std::move(source)) {}

    std::shared_ptr<detail::ValueChange<T>> current() const {
        std::shared_ptr<detail::ValueChange<T>> result;
        detail::readWith(hub(), [&] { result = source_->current; });
        return result;
    }

    const std::shared_ptr<detail::ObservableSource<T>> source_;
};

}  // namespace kova::kit
