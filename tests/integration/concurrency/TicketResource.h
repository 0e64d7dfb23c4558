#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Ticket.h"
#include "kova/core/IResourceHandler.h"

namespace kova::test {

/// How a stored request is answered. DROP destroys the response handler without an answer.
enum class Answer { VALUE, COMPLETION, ERROR, DROP };

/// A resource whose requests any thread may answer. While a thread uses a response handler, its
/// ticket stays open without the handler, so that a concurrent cancellation is recorded. No
/// callback runs under the lock.
class TicketResource : public IResourceHandler {
public:
    using Handler = std::unique_ptr<IResponseHandler<Response>>;

    ~TicketResource() override {
        for (Ticket* const ticket : open_) {
            ticket->handler.reset();
        }
    }

    void* actionRequest(const Request&, Handler&& handler, const std::string& path) override {
        Ticket& ticket = Ticket::of(path);
        play(ticket, Moment::REQUEST);
        if (ticket.answering == Answering::AT_ONCE ||
            ticket.answering == Answering::AT_ONCE_WITH_HANDLE) {
            sendValue(ticket, *handler);
            handler->onCompleted();
            return ticket.answering == Answering::AT_ONCE ? nullptr : &ticket;
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        ticket.handler = std::move(handler);
        ticket.open = true;
        ticket.position = open_.size();
        open_.push_back(&ticket);
        return &ticket;
    }
    void cancelRequest(void* handle) override {
        Ticket& ticket = *static_cast<Ticket*>(handle);
        Handler cancelled = takeCancelled(ticket);
        play(ticket, Moment::CANCELLATION);
    }

    /// Answers one of the open requests, which `pick` selects modulo their number.
    void answer(std::size_t pick, Answer answer) {
        auto [ticket, handler] = take(pick);
        if (!handler) {
            return;
        }
        if (answer == Answer::VALUE || answer == Answer::COMPLETION) {
            sendValue(*ticket, *handler);
        }
        if (answer == Answer::COMPLETION) {
            handler->onCompleted();
        } else if (answer == Answer::ERROR) {
            handler->onError(Response(500));
        } else if (answer == Answer::DROP) {
            handler.reset();
        }
        giveBack(*ticket, std::move(handler), answer);
    }
    std::size_t open() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return open_.size();
    }

    /// Set when a shutdown has returned. Values that are sent later must not arrive.
    std::atomic<bool> isShutDown{false};
    std::atomic<long> valuesThroughShutdown{0};

private:
    static void play(Ticket& ticket, Moment moment) {
        if (ticket.script) {
            ticket.script(moment);
        }
    }
    void sendValue(Ticket& ticket, IResponseHandler<Response>& handler) {
        const bool mayArrive = !isShutDown;
        const int before = ticket.values;
        handler.onNext(Response(299));
        valuesThroughShutdown += !mayArrive && ticket.values != before ? 1 : 0;
    }
    Handler takeCancelled(Ticket& ticket) {
        const std::lock_guard<std::mutex> guard(mutex_);
        ++ticket.cancelCalls;
        if (!ticket.open) {
            return {};
        }
        ticket.cancelWanted = true;
        if (ticket.handler) {
            ++ticket.cancelled;
            close(ticket);
        }
        return std::move(ticket.handler);
    }
    std::pair<Ticket*, Handler> take(std::size_t pick) {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (open_.empty()) {
            return {};
        }
        Ticket& ticket = *open_[pick % open_.size()];
        if (ticket.answering == Answering::LATE && !ticket.returned) {
            return {};
        }
        return {&ticket, std::move(ticket.handler)};
    }
    void giveBack(Ticket& ticket, Handler handler, Answer answer) {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (answer == Answer::VALUE && !ticket.cancelWanted) {
            ticket.handler = std::move(handler);
            return;
        }
        ticket.cancelled += answer == Answer::VALUE ? 1 : 0;
        ticket.dropped += answer == Answer::DROP ? 1 : 0;
        close(ticket);
    }
    void close(Ticket& ticket) {
        ticket.open = false;
        open_[ticket.position] = open_.back();
        open_[ticket.position]->position = ticket.position;
        open_.pop_back();
    }

    std::mutex mutex_;
    std::vector<Ticket*> open_;
};

}  // namespace kova::test
