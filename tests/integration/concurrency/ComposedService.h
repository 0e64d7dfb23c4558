#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Ticket.h"
#include "TicketResource.h"
#include "kova/core/StaticComposedKovaService.h"

namespace kova::test {

/// A composed service with four resources, and the operations that the tests use.
class ComposedService {
public:
    ComposedService() {
        std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
        for (std::size_t i = 0; i < resources.size(); ++i) {
            auto resource = std::make_unique<TicketResource>();
            resources[i] = resource.get();
            handlers["/r" + std::to_string(i)] = std::move(resource);
        }
        service = std::make_unique<StaticComposedKovaService>(std::move(handlers));
    }

    void ask(Ticket& ticket, const std::string& mount = "/r0/") {
        std::unique_ptr<IResponseHandler<Response>> handler = ticket.makeHandler();
        ticket.handle =
            service->actionRequest(Request("retrieve", mount + ticket.path()), std::move(handler));
        ticket.refused = handler != nullptr;
        ticket.storedBeforeShutdown = ticket.handle != nullptr && !shutdownCalled;
        ticket.returned = true;
    }
    void cancel(Ticket& ticket) { service->cancelRequest(ticket.address()); }
    void shutDown() {
        shutdownCalled = true;
        service->shutdown();
        ShutdownWatch::returnedHere = true;
        for (TicketResource* const resource : resources) {
            resource->isShutDown = true;
        }
    }
    long valuesThroughShutdown() const {
        long values = 0;
        for (const TicketResource* const resource : resources) {
            values += resource->valuesThroughShutdown;
        }
        return values;
    }
    std::size_t openRequests() const {
        std::size_t open = 0;
        for (TicketResource* const resource : resources) {
            open += resource->open();
        }
        return open;
    }

    std::array<TicketResource*, 4> resources{};
    std::unique_ptr<StaticComposedKovaService> service;
    std::atomic<bool> shutdownCalled{false};
};

/// The state of one thread in a test with mixed operations: its random numbers and its requests.
/// Requests that a callback sends belong to the thread that runs the callback.
class Worker {
public:
    Worker(ComposedService& composed, unsigned int seed) : composed_(composed), random_(seed) {
        current = this;
    }
    ~Worker() { current = nullptr; }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Performs a random operation.
    void operate() {
        const unsigned int dice = random_() % 16;
        if (dice < 5) {
            ask(dice < 3 ? Answering::LATE : Answering::EARLY);
        } else if (dice < 7) {
            ask(dice < 6 ? Answering::AT_ONCE : Answering::AT_ONCE_WITH_HANDLE);
        } else if (dice < 8) {
            composed_.ask(makeTicket(), "/nowhere/");
        } else if (dice < 10) {
            cancelOne();
        } else {
            constexpr Answer ANSWERS[] = {Answer::VALUE,      Answer::VALUE, Answer::COMPLETION,
                                          Answer::COMPLETION, Answer::ERROR, Answer::DROP};
            resource().answer(random_(), ANSWERS[dice - 10]);
        }
    }
    void ask(Answering answering) {
        Ticket& ticket = makeTicket();
        ticket.answering = answering;
        if (random_() % 4 == 0) {
            ticket.script = [&composed = composed_, &ticket](Moment) {
                if (current != nullptr) {
                    callBack(composed, ticket);
                }
            };
        }
        composed_.ask(ticket, mount());
    }
    Ticket& makeTicket() { return tickets_->emplace_back(); }
    std::unique_ptr<std::deque<Ticket>> takeTickets() { return std::move(tickets_); }

private:
    /// Performs a random operation from a callback on a worker's thread: sends a nested request,
    /// cancels the callback's own or another request, or answers a request.
    static void callBack(ComposedService& composed, Ticket& own) {
        switch (current->random_() % 4) {
            case 0:
                current->askPlainly(composed);
                break;
            case 1:
                composed.cancel(own);
                break;
            case 2:
                current->cancelOne();
                break;
            default:
                current->resource().answer(current->random_(), Answer::COMPLETION);
                break;
        }
    }
    void askPlainly(ComposedService& composed) {
        Ticket& ticket = makeTicket();
        ticket.answering = random_() % 2 == 0 ? Answering::AT_ONCE : Answering::EARLY;
        composed.ask(ticket, mount());
    }
    void cancelOne() {
        if (!tickets_->empty()) {
            const std::size_t recent = std::min<std::size_t>(tickets_->size(), 32);
            composed_.cancel((*tickets_)[tickets_->size() - 1 - random_() % recent]);
        }
    }
    TicketResource& resource() { return *composed_.resources[random_() % 4]; }
    std::string mount() { return "/r" + std::to_string(random_() % 4) + "/"; }

    static inline thread_local Worker* current = nullptr;

    ComposedService& composed_;
    std::minstd_rand random_;
    std::unique_ptr<std::deque<Ticket>> tickets_ = std::make_unique<std::deque<Ticket>>();
};

}  // namespace kova::test
