// The requests of a client that fail, wait too long, or are sent again.

#include <utility>

#include "nats/Frames.h"
#include "nats/client/ClientState.h"

namespace kova::nats::detail {

void ClientState::failAll(const std::vector<Stream>& ended, const kit::Error& error) {
    for (const Stream& stream : ended) {
        tell(*stream, FrameKind::cancel, 0);
        stream->fail(error);
    }
}

void ClientState::lose(Stream stream, const std::string& reason) {
    if (stream->isRepeatable()) {
        repeat(std::move(stream));
    } else {
        stream->lose(reason);
    }
}

void ClientState::loseAll(std::vector<Stream> lost, const std::string& reason) {
    for (Stream& stream : lost) {
        lose(std::move(stream), reason);
    }
}

// All requests that are sent again share one growing delay, because they have the same servers.
void ClientState::repeat(Stream stream) {
    stream->beginAgain();
    stream->arrival = Clock::now();
    stream->isDelayed = true;
    streams_.add(std::move(stream), nextNumber());
    if (!repetition_) {
        repetition_ = loop_->after(backoff_.next(), [this] {
            repetition_.reset();
            sendDelayed();
        });
    }
}

void ClientState::sendDelayed() {
    streams_.forEach([](ClientStream& stream) { stream.isDelayed = false; });
    if (broker_.isReady()) {
        sendWaiting();
    }
}

// Requests wait in the order of their arrival.
void ClientState::armPatience() {
    if (patience_) {
        return;
    }
    ClientStream const* const first =
        streams_.findIf([](const auto& stream) { return !stream.isSent && !stream.isPatient(); });
    if (first != nullptr) {
        patience_ = loop_->after(first->arrival + settings_.patience - Clock::now(), [this] {
            patience_.reset();
            expire();
        });
    }
}

void ClientState::expire() {
    const Clock::time_point now = Clock::now();
    const std::vector<Stream> expired = streams_.takeIf([&](const auto& stream) {
        return !stream.isSent && !stream.isPatient() && stream.arrival + settings_.patience <= now;
    });
    armPatience();
    for (const Stream& stream : expired) {
        stream->lose("no connection to " + broker_.shown() + ": " + reason_);
    }
}

void ClientState::armCheck() {
    if (!check_) {
        check_ = loop_->after(settings_.broker.heartbeat / Heartbeats::CHECKS, [this] {
            check_.reset();
            check();
        });
    }
}

// What has arrived meanwhile is handled first, because this thread may have been blocked.
void ClientState::check() {
    broker_.handleEvents();
    const Clock::time_point latest = Clock::now() - settings_.broker.heartbeat *
                                                        (2 * Heartbeats::CHECKS - 1) /
                                                        Heartbeats::CHECKS;
    std::vector<Stream> silent = streams_.takeIf(
        [&](const auto& stream) { return stream.isSent && stream.heardAt <= latest; });
    for (Stream& stream : silent) {
        tell(*stream, FrameKind::cancel, 0);
        const std::string reason = "the server of " + stream->target->name + " is silent";
        lose(std::move(stream), reason);
    }
    if (!streams_.isEmpty()) {
        armCheck();
    }
}

}  // namespace kova::nats::detail
