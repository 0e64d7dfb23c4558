#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Executor.h"
#include "kova/kit/Export.h"
#include "kova/kit/Receiver.h"
#include "kova/kit/Subscription.h"

namespace osal {
class Clock;
}

namespace kova::kit {

namespace detail {
class CallsCore;
}

/// Options of one call.
struct CallOptions {
    /// Where the callbacks run.
    Executor executor = {};
    /// The time after which the call ends as "timed out"; 0 for no limit.
    std::chrono::milliseconds deadline{0};
    /// The deadline is that of the first value.
    bool stream = false;
    /// The number of values that may wait for the executor. With one more the call ends as "lost".
    std::size_t queue = 1024;
};

/// Options of a blocking call.
struct AskOptions {
    /// The time after which it fails; 0 for no limit.
    std::chrono::milliseconds limit = std::chrono::seconds(30);
    /// The function for values with the code 298, which is called on the waiting thread, or null.
    /// It returns the reason if it cannot use the value; the call then fails with it.
    const std::function<Result<void>(const Response&)>* onProgress = nullptr;
    /// The executor whose callbacks must not block.
    Executor executor = {};
};

/// Options of `Calls`.
struct CallsOptions {
    /// The deadline of requests that come through `Calls::actionRequest`; 0 for no limit.
    std::chrono::milliseconds deadline{0};
    /// The clock of the deadlines, for tests; it must not serve an alarm timer. Null for the
    /// monotonic clock of the system.
    osal::Clock* clock = nullptr;
    /// Keeps the header entry "$client-id" of each request for `pending`.
    bool keepsClientId = false;
};

/// What a call that has not ended is doing.
struct CallInfo {
    /// Where the call is.
    enum class Phase : std::uint8_t {
        inService,   ///< The service has not returned from `actionRequest`.
        pending,     ///< The service works on it.
        inCallback,  ///< A callback runs.
        cancelling   ///< The request is being cancelled at the service.
    };
    /// The command word and the path of the request.
    std::string command;
    std::string path;  ///< see `command`
    /// The time since it was sent, to about 4 ms.
    std::chrono::milliseconds age{0};
    /// What it is doing.
    Phase phase = Phase::pending;
    /// The system's number of the thread of the phase; 0 if no thread is occupied.
    long thread = 0;
    /// The header entry "$client-id" of the request, if `CallsOptions::keepsClientId` is set.
    std::string client = {};

    /// Returns one line: "retrieve '/state', 2004 ms, in a callback on thread 4711".
    KOVA_KIT_API std::string toString() const;
};

/// A service in front of a service, whose calls end when they are told to.
///
/// Every call has exactly one end (`End`), unless its owner asked for silence, also if the service
/// refuses it, forgets it or answers twice. Handles are never used twice in a process, so a late or
/// second cancellation reaches nobody; an early one is not lost. No entry remains in the table of a
/// composed service. A request that is answered at once costs one allocation and some 80 ns more
/// (`bench/kit_calls_bench`).
///
/// Any thread may call any function, also from inside a callback; no lock is held while a callback
/// or the service is called. The service must outlive the object.
///
///     const auto watch = [](kova::kit::Calls& calls, std::unique_ptr<kova::kit::Receiver> screen)
///     {
///         auto state = calls.start({"retrieve", "/state"}, std::move(screen));
///         state.reset();  // no callback runs from here on
///     };
class KOVA_KIT_API Calls : public IKovaApi {
public:
    /// Creates the front of `service`, which must outlive it.
    explicit Calls(IKovaApi& service, const CallsOptions& options = {});
    /// Calls `close` without a limit of time. Inside a callback it does not wait for this one.
    ~Calls() override;
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    /// Sends a request whose events arrive inline. Always takes ownership of the handler. An end
    /// other than "completed" arrives as `onError`: that of the service, or 503 (refused, lost,
    /// cancelled), 500 (dropped), 504 (timed out).
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    /// Ends a call without an end. No event begins from now on, but one that another thread has
    /// begun may still be running: `reset` waits for it. The handler is destroyed.
    void cancelRequest(void* handle) override;

    /// Does the same as `cancelRequest`, and waits like `Subscription::reset`.
    void reset(void* handle);
    /// Ends a call with the end "cancelled" like `Subscription::cancel`. Returns whether it had no
    /// end yet.
    bool cancel(void* handle);

    /// Sends a request. The receiver gets the values and the end on the executor; if the executor
    /// is full or the object closed, it gets the end "refused" before this returns.
    [[nodiscard]] Subscription start(const Request& request, std::unique_ptr<Receiver> receiver,
                                     const CallOptions& options = {});

    /// Sends a request, waits for its end and returns the last value. Fails with the error of the
    /// service; with 504 if the limit passes, and the request is then cancelled; with 204 if the
    /// request was completed without a value.
    ///
    /// If the answer is not there at once, it fails without waiting, with 500, on a thread whose
    /// wait could keep the answer away: inside a callback of these calls, of the executor in the
    /// options or of the kit's thread, on the thread of the alarms, and in a `Worker` that got the
    /// request if all of its other threads wait, too. Threads of other services cannot be
    /// recognized; there the limit ends the wait.
    Result<Response> ask(const Request& request, const AskOptions& options = {});
    /// Ends all calls as "lost", for the owner of a connection. New ones are accepted.
    void lose(const std::string& reason);
    /// Refuses new calls, ends those that there are as "lost", and waits until they have got that
    /// end and nothing runs for them. Returns what is stuck after `limit`. Inside a callback it
    /// does not wait for this one.
    std::vector<CallInfo> stop(const std::string& reason, std::chrono::milliseconds limit);
    /// Refuses new calls, ends those that there are without an end, and waits until nothing runs
    /// for them: no callback, no `actionRequest` and no cancellation. Returns what is stuck after
    /// `limit`. Inside a callback it does not wait for this one.
    std::vector<CallInfo> close(std::chrono::milliseconds limit);
    /// Returns the calls that have not ended.
    std::vector<CallInfo> pending() const;

private:
    std::unique_ptr<detail::CallsCore> core_;
};

}  // namespace kova::kit
