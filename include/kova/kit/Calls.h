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
    /// The executor of the callbacks.
    Executor executor = {};
    /// The time after which the call ends as "timed out"; 0 means no limit.
    std::chrono::milliseconds deadline{0};
    /// Whether the deadline applies only to the first value.
    bool stream = false;
    /// The maximum number of values that wait for the executor. If another value arrives while the
    /// queue is full, the call ends as "lost".
    std::size_t queue = 1024;
};

/// Options of a blocking call.
struct AskOptions {
    /// The time after which the call fails; 0 means no limit.
    std::chrono::milliseconds limit = std::chrono::seconds(30);
    /// The function that is called for each value with the code 298, or null. It runs on the
    /// waiting thread. If it cannot use the value, it returns the reason, and the call fails with
    /// this reason.
    const std::function<Result<void>(const Response&)>* onProgress = nullptr;
    /// An executor that must not be blocked: the call fails if it would have to wait on a thread of
    /// this executor.
    Executor executor = {};
};

/// Options of `Calls`.
struct CallsOptions {
    /// The deadline of requests that are sent with `Calls::actionRequest`; 0 means no limit.
    std::chrono::milliseconds deadline{0};
    /// The clock of the deadlines, for tests. No other `osal::AlarmTimer` may use the same clock
    /// object. Null selects the monotonic clock of the system.
    osal::Clock* clock = nullptr;
    /// Whether each call stores the header entry "$client-id" of its request, so that `pending` can
    /// return it.
    bool keepsClientId = false;
    /// Whether a call counts as pending until the service has destroyed its response handler.
    /// `stop`, `close` and the destructor then also wait for a thread that is sending an event of a
    /// call that has ended. Do not set it if the service keeps the response handlers of cancelled
    /// requests: `stop`, `close` and the destructor would then wait for ever.
    bool awaitsRelease = false;
};

/// The state of a call that has not ended.
struct CallInfo {
    /// The current state of the call, which names the part of the program that handles it.
    enum class Phase : std::uint8_t {
        inService,   ///< The service has not returned from `actionRequest`.
        pending,     ///< The service is serving the request.
        inCallback,  ///< A callback of the call is running.
        cancelling   ///< The request is being cancelled at the service.
    };
    /// The command word of the request.
    std::string command;
    /// The path of the request.
    std::string path;
    /// The time since the call was sent, with a resolution of about 4 ms.
    std::chrono::milliseconds age{0};
    /// The phase of the call.
    Phase phase = Phase::pending;
    /// The thread number of the operating system for the thread that is busy with the call; 0 if no
    /// thread is.
    long thread = 0;
    /// The header entry "$client-id" of the request, if `CallsOptions::keepsClientId` is set.
    std::string client = {};

    /// Returns one line: "retrieve '/state', 2004 ms, in a callback on thread 4711".
    KOVA_KIT_API std::string toString() const;
};

/// A service in front of another service. It guarantees that each call ends.
///
/// Every call has exactly one end (`End`), unless its owner ended it silently. This holds even if
/// the service rejects the request, drops it or answers twice. A handle is never used twice in a
/// process, so a late or second cancellation has no effect. A cancellation before the service has
/// returned from `actionRequest` is not lost. No stale entry remains in the table of pending
/// requests of a composed service. A request that is answered immediately costs one allocation and
/// about 80 ns more (`bench/kit_calls_bench`).
///
/// Any thread may call any function, also from inside a callback. No lock is held while a callback
/// or the service is called. The service must outlive the object.
///
///     const auto watch = [](kova::kit::Calls& calls, std::unique_ptr<kova::kit::Receiver> screen)
///     {
///         auto state = calls.start({"retrieve", "/state"}, std::move(screen));
///         state.reset();  // no callback runs from here on
///     };
class KOVA_KIT_API Calls : public IKovaApi {
public:
    /// Creates an object that sends its requests to `service`. The service must outlive the object.
    explicit Calls(IKovaApi& service, const CallsOptions& options = {});
    /// Calls `close` without a time limit. If a callback destroys the object, the destructor does
    /// not wait for that callback.
    ~Calls() override;
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    /// Sends a request. The events arrive on the threads of the service. Always takes ownership of
    /// the handler. If the end is not "completed", the handler receives `onError` with the error of
    /// the service, or with 503 (refused, lost, cancelled), 500 (dropped) or 504 (timed out).
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    /// Ends a call silently. No event begins after this function was called, but an event that
    /// another thread has begun may still be running; `reset` waits for it. The handler is
    /// destroyed.
    void cancelRequest(void* handle) override;

    /// Does the same as `cancelRequest`, and waits as `Subscription::reset` does.
    void reset(void* handle);
    /// Cancels a call: its receiver gets the end "cancelled", as for `Subscription::cancel`.
    /// Returns false if the call had already ended.
    bool cancel(void* handle);

    /// Sends a request. The receiver gets the values and the end on the executor. If the executor
    /// is full or this object is closed, the receiver gets the end "refused" before `start`
    /// returns.
    [[nodiscard]] Subscription start(const Request& request, std::unique_ptr<Receiver> receiver,
                                     const CallOptions& options = {});

    /// Sends a request, waits for its end and returns the last value. If the service answers with
    /// an error, returns that error. If the limit passes, cancels the request and fails with 504.
    /// If the request was completed without a value, fails with 204.
    ///
    /// On some threads a wait could prevent the answer. There the function fails with 500 if the
    /// answer does not arrive immediately. This applies to a thread inside a callback of this
    /// object or inside a task of the executor in the options, to the kit's own thread, to the
    /// thread of the alarms, and to a thread of the `Worker` that received the request if all other
    /// threads of that worker are waiting. Threads of other services cannot be recognized. On these
    /// threads the wait ends when the limit passes.
    Result<Response> ask(const Request& request, const AskOptions& options = {});
    /// Ends all calls as "lost", for example when a connection is lost. Later calls are not
    /// affected.
    void lose(const std::string& reason);
    /// Rejects new calls and ends the pending calls as "lost". Waits until these calls have
    /// received their end and no function is running for them. Returns the calls that are still
    /// running after `limit`. If a callback calls this function, it does not wait for that
    /// callback.
    std::vector<CallInfo> stop(const std::string& reason, std::chrono::milliseconds limit);
    /// Rejects new calls and ends the pending calls silently. Waits until no function is running
    /// for them: no callback, no `actionRequest` and no cancellation. Returns the calls that are
    /// still running after `limit`. If a callback calls this function, it does not wait for that
    /// callback.
    std::vector<CallInfo> close(std::chrono::milliseconds limit);
    /// Returns the calls that have not ended.
    std::vector<CallInfo> pending() const;

private:
    std::unique_ptr<detail::CallsCore> core_;
};

}  // namespace kova::kit
