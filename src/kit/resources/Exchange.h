#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"

namespace kova::kit::detail {

class Exchange;

/// The response handler of a request.
using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

/// The pending requests of one resource, by handle.
///
/// No two requests of a process have the same handle, so a late cancellation has no effect. Any
/// thread may call any function.
class ExchangeTable {
public:
    ExchangeTable() = default;
    ExchangeTable(const ExchangeTable&) = delete;
    ExchangeTable& operator=(const ExchangeTable&) = delete;

    /// Adds a request unless it has ended. Returns its handle, or null.
    void* add(const std::shared_ptr<Exchange>& exchange);
    /// Removes a request that has ended.
    void remove(const Exchange& exchange) noexcept;
    /// Removes and cancels the request with the handle, if it is in the table.
    void cancel(void* handle) noexcept;
    /// Returns the request with the handle, or null.
    std::shared_ptr<Exchange> find(void* handle) const;
    /// Returns all requests.
    std::vector<std::shared_ptr<Exchange>> all() const;
    std::size_t size() const;

private:
    std::shared_ptr<Exchange> takeLocked(std::uintptr_t handle) noexcept;

    mutable std::mutex mutex_;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Exchange>> exchanges_;
};

/// A request whose answer may come after the resource has returned from `actionRequest`. The answer
/// consists of values, then one end.
///
/// The sender of values calls `next`, one value at a time. Any thread may end the request at any
/// time: if another thread is sending a value, that thread sends the end after the value. No lock
/// is held while the response handler or the function for the cancellation is called.
///
/// Each operation keeps the object alive while it runs, because a callback may release the last
/// other reference.
class Exchange : public std::enable_shared_from_this<Exchange> {
public:
    /// `table` is null for a request that cannot be cancelled.
    Exchange(std::shared_ptr<ExchangeTable> table, ResponseHandler handler) noexcept
        : table_(std::move(table)), handler_(std::move(handler)) {}
    /// Ends the request with 500 if it has not ended yet.
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Sends a value. Returns true if further values may follow. Returns false if the request has
    /// ended or was cancelled. If the receiver wants no further value, completes the request and
    /// returns false.
    bool next(const Response& value) noexcept;
    /// Does the same as `next`. The caller must keep the object alive during the call.
    bool nextWhileHeld(const Response& value) noexcept { return send(value, false); }
    /// Sends a value, and completes the request if it has no end yet. Returns false if the request
    /// has ended, or is cancelled while the value is sent.
    bool last(const Response& value) noexcept;
    /// @{
    /// Ends the request. Returns false if the request had already ended.
    bool complete() noexcept { return end(nullptr); }
    bool fail(const Response& error) noexcept { return end(&error); }
    /// @}
    /// Ends the request without an event, because its client has cancelled it.
    void cancel() noexcept { cancel(true); }
    /// Ends the request with an error, and calls the function of the sender as `cancel` does.
    bool abort(const Response& error) noexcept;

    /// Sets the function that is called once if the request ends without the sender: when it is
    /// cancelled or aborted, or when its receiver wants no further value. If this has already
    /// happened, calls the function at once. An exception that leaves the function ends the
    /// process.
    void onCancel(std::function<void()> function) { set(onCancel_, std::move(function)); }
    /// Sets a second function that is called in the same cases. `onCancel` does not replace it.
    void onStop(std::function<void()> function) { set(onStop_, std::move(function)); }
    /// From now on, `next` does not call these two functions when the receiver wants no further
    /// value. A sender that may hold a lock while it calls `next` uses this, and checks the result
    /// of `next` instead. Call it before the first value.
    void leaveEnoughToSender() noexcept { tellsEnough_ = false; }
    /// Returns whether the request has no end yet.
    bool isOpen() const noexcept { return (phase_.load(std::memory_order_acquire) & OVER) == 0; }
    /// Ends the request because its sender is destroyed. If an exception is leaving the function
    /// that serves the request, does nothing, because the exception becomes the answer.
    void abandon() noexcept;

    /// A guard that exists while a function serves a request on the current thread.
    class Serving {
    public:
        explicit Serving(Exchange const* exchange = nullptr) noexcept;
        ~Serving();
        Serving(const Serving&) = delete;
        Serving& operator=(const Serving&) = delete;

        /// Tells the innermost guard of this thread which request the function serves.
        static void set(const Exchange& exchange) noexcept;

    private:
        friend class Exchange;
        Exchange const* exchange_;
        Serving* const outer_;
    };

private:
    friend class ExchangeTable;

    using Function = std::function<void()>;
    /// The functions of a request that has ended. They are called if the sender did not end the
    /// request itself.
    struct SenderFunctions {
        Function onStop;
        Function onCancel;
        bool isStopped = false;

        void call() const noexcept;
    };

    bool isServedHere() const noexcept;
    bool send(const Response& value, bool isLast) noexcept;
    bool afterValue(bool isLast, bool hasEnough) noexcept;
    void set(Function& member, Function function);
    bool end(Response const* error) noexcept;
    bool setOverLocked(ResponseHandler& handler) noexcept;
    void keepEndLocked(Response const* error) noexcept;
    SenderFunctions takeFunctionsLocked() noexcept;
    void cancel(bool isInTable) noexcept;
    void leaveTable() noexcept;
    void tellSender() noexcept;

    mutable std::mutex mutex_;
    const std::shared_ptr<ExchangeTable> table_;
    ResponseHandler handler_;
    Function onCancel_;
    Function onStop_;
    /// Whether the thread that is sending a value must send the end after the value: the stored
    /// error, or the completion.
    bool endsAfterValue_ = false;
    std::optional<Response> errorAfterValue_;
    /// @{
    /// The flags of `phase_`. SENDING: a thread is sending a value and uses the response handler.
    /// OVER: the request has ended. If OVER is set while no value is being sent, the thread that
    /// sets it sends the end; otherwise the thread that is sending the value does so afterwards.
    /// OVER is set while the mutex is locked. A value that does not end the request needs no lock.
    static constexpr std::uint8_t SENDING = 1;
    static constexpr std::uint8_t OVER = 2;
    std::atomic<std::uint8_t> phase_{0};
    /// @}
    bool isStopped_ = false;
    bool tellsEnough_ = true;
    /// Guarded by the lock of the table.
    std::uintptr_t handle_ = 0;
};

}  // namespace kova::kit::detail
