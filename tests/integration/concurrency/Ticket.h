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

/// What a resource does with a request.
enum class Answering {
    LATE,                 ///< keeps it; answers come only after the caller's call has returned
    EARLY,                ///< keeps it; any thread may answer at once
    AT_ONCE,              ///< answers before it returns, and returns no handle
    AT_ONCE_WITH_HANDLE,  ///< the same, and returns a handle all the same
};

/// Where code of the test is called back.
enum class Moment { VALUE, COMPLETION, ERROR, REQUEST, CANCELLATION };

/// One request and all that happened to it. It lives as long as its test and holds the memory of
/// its response handler, so no service handle comes twice.
///
/// The counts are not atomic: the rule that the events of a request come one at a time orders them,
/// and the thread sanitizer sees whether it is kept.
struct Ticket {
    Ticket() = default;
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;

    /// The request's path under a mount tells the resource which ticket it is.
    std::string path() const { return std::to_string(reinterpret_cast<std::uintptr_t>(this)); }
    static Ticket& of(const std::string& path) {
        return *reinterpret_cast<Ticket*>(static_cast<std::uintptr_t>(std::stoull(path)));
    }
    std::unique_ptr<IResponseHandler<Response>> makeHandler();
    /// The handle that the service gives the request, if any.
    void* address() { return handlerMemory.data(); }
    /// The outcomes so far; a request that is not open has exactly one.
    int outcomes() const { return terminations + cancelled + dropped; }

    Answering answering = Answering::LATE;
    std::function<void(Moment)> script;

    // Of the caller.
    void* handle = nullptr;
    bool refused = false;
    bool storedBeforeShutdown = false;
    std::atomic<bool> returned{false};

    // Of the response handler.
    int values = 0;
    int terminations = 0;
    int eventsTooLate = 0;
    int destructions = 0;

    // Of the resource, guarded by its lock.
    std::unique_ptr<IResponseHandler<Response>> handler;
    std::size_t position = 0;
    bool open = false;
    bool cancelWanted = false;
    int cancelCalls = 0;
    int cancelled = 0;
    int dropped = 0;

    alignas(std::max_align_t) std::array<std::byte, 32> handlerMemory{};
};

/// Values that reached a caller on this thread after a shutdown returned on it.
struct ShutdownWatch {
    static inline thread_local bool returnedHere = false;
    static inline std::atomic<long> valuesAfterwards{0};
};

/// The caller's side of a ticket.
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
