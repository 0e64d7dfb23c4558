#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"

namespace kova::test {

/// When a resource answers a request.
enum class Answering {
    LATE,                 ///< after actionRequest() has returned
    EARLY,                ///< at any time, from any thread; the resource stores the request
    AT_ONCE,              ///< before actionRequest() returns; it returns no handle
    AT_ONCE_WITH_HANDLE,  ///< before actionRequest() returns; it returns a handle anyway
};

/// The callbacks in which code of the test can run.
enum class Moment { VALUE, COMPLETION, ERROR, REQUEST, CANCELLATION };

/// One request and a record of its events. It lives as long as its test and holds the memory of its
/// response handler, so the service never uses a handle twice.
///
/// The counters are not atomic: the events of a request must be serialized, and ThreadSanitizer
/// reports a race if they are not.
struct Ticket {
    Ticket() = default;
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;

    /// Returns the path of the request under a mount. It contains the address of the ticket.
    std::string path() const { return std::to_string(reinterpret_cast<std::uintptr_t>(this)); }
    static Ticket& of(const std::string& path) {
        return *reinterpret_cast<Ticket*>(static_cast<std::uintptr_t>(std::stoull(path)));
    }
    std::unique_ptr<IResponseHandler<Response>> makeHandler();
    /// Returns the handle under which the service stores the request, if it stores the request.
    void* address() { return handlerMemory.data(); }
    /// Returns the number of outcomes so far. It is exactly one for a request that is not open.
    int outcomes() const { return terminations + cancelled + dropped; }

    Answering answering = Answering::LATE;
    /// Called in each callback of the request.
    std::function<void(Moment)> script;

    // Written by the caller.
    void* handle = nullptr;
    bool refused = false;
    bool storedBeforeShutdown = false;
    std::atomic<bool> returned{false};

    // Written by the response handler.
    int values = 0;
    int terminations = 0;
    int eventsTooLate = 0;
    int destructions = 0;

    // Written by the resource, under its lock.
    std::unique_ptr<IResponseHandler<Response>> handler;
    std::size_t position = 0;
    bool open = false;
    bool cancelWanted = false;
    int cancelCalls = 0;
    int cancelled = 0;
    int dropped = 0;

    alignas(std::max_align_t) std::array<std::byte, 32> handlerMemory{};
};

/// Counts the values that arrive on a thread after a shutdown has returned on it.
struct ShutdownWatch {
    static inline thread_local bool returnedHere = false;
    static inline std::atomic<long> valuesAfterwards{0};
};

/// The response handler of a ticket.
class TicketHandler : public IResponseHandler<Response> {
public:
    explicit TicketHandler(Ticket& ticket) : ticket_(ticket) {}
    ~TicketHandler() override { ++ticket_.destructions; }
    static void* operator new(std::size_t, Ticket& ticket) { return ticket.handlerMemory.data(); }
    static void operator delete(void*) {}
    static void operator delete(void*, Ticket&) {}

    bool onNext(const Response&) override {
        ShutdownWatch::valuesAfterwards += ShutdownWatch::returnedHere ? 1 : 0;
        ++ticket_.values;
        ticket_.eventsTooLate += ticket_.terminations;
        play(Moment::VALUE);
        return false;
    }
    void onError(const Response&) override { terminate(Moment::ERROR); }
    void onCompleted() override { terminate(Moment::COMPLETION); }

private:
    void terminate(Moment moment) {
        ticket_.eventsTooLate += ticket_.terminations;
        ++ticket_.terminations;
        play(moment);
    }
    void play(Moment moment) {
        if (ticket_.script) {
            ticket_.script(moment);
        }
    }

    Ticket& ticket_;
};

static_assert(sizeof(TicketHandler) <= sizeof(Ticket::handlerMemory));

inline std::unique_ptr<IResponseHandler<Response>> Ticket::makeHandler() {
    return std::unique_ptr<IResponseHandler<Response>>(new (*this) TicketHandler(*this));
}

}  // namespace kova::test
