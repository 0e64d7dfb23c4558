#include "Lane.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "ExitStatus.h"
#include "kova/kit/End.h"

namespace kova::tool {

namespace {

// Whether this thread is sending: a request that fails at once ends inside of `actionRequest`, and
// must not send the next one from there.
thread_local bool isSending = false;

}  // namespace

void LaneResult::add(const LaneResult& other) {
    latencies.add(other.latencies);
    answered += other.answered;
    lastAnswer = std::max(lastAnswer, other.lastAnswer);
    for (const auto& [code, count] : other.errors) {
        errors[code] += count;
    }
    open += other.open;
    unsent += other.unsent;
    if (!lost) {
        lost = other.lost;
    }
}

/// Receives the end of one request.
class Lane::Handler final : public IResponseHandler<Response> {
public:
    Handler(Lane& lane, Clock::time_point start) : lane_(lane), start_(start) {}
    bool onNext(const Response& /*value*/) override { return false; }
    void onError(const Response& error) override { lane_.onEnd(start_, &error); }
    void onCompleted() override { lane_.onEnd(start_, nullptr); }

private:
    Lane& lane_;
    const Clock::time_point start_;
};

Lane::Lane(IKovaApi& service, Request request, LanePlan plan)
    : service_(service), request_(std::move(request)), plan_(plan) {}

Lane::Clock::time_point Lane::startOf(std::uint64_t number) const {
    return plan_.begin + *plan_.interval * static_cast<std::int64_t>(number);
}

// Returns the intended start of a request that is due and counts it as sent.
std::optional<Lane::Clock::time_point> Lane::nextStart(Clock::time_point now) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const Clock::time_point start = plan_.interval ? startOf(sent_) : now;
    const bool isFirst = !plan_.interval && sent_ == 0;
    if (isStopped_ || result_.open >= plan_.inFlight || start > now ||
        (start >= plan_.end && !isFirst)) {
        return std::nullopt;
    }
    ++sent_;
    ++result_.open;
    return start;
}

void Lane::send(Clock::time_point start) {
    isSending = true;
    service_.actionRequest(request_, std::make_unique<Handler>(*this, start));
    isSending = false;
}

Lane::Clock::time_point Lane::pump() {
    if (isSending) {
        return plan_.end;
    }
    for (std::size_t count = 0; count < plan_.inFlight; ++count) {
        const auto start = nextStart(Clock::now());
        if (!start) {
            break;
        }
        send(*start);
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    const bool waitsForTime = plan_.interval && result_.open < plan_.inFlight && !isStopped_;
    return waitsForTime ? std::min(startOf(sent_), plan_.end) : plan_.end;
}

void Lane::onEnd(Clock::time_point start, const Response* error) {
    const Clock::time_point now = Clock::now();
    const auto latency = now - start;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        --result_.open;
        if (error == nullptr) {
            result_.latencies.add(static_cast<std::uint64_t>(
                std::chrono::duration_cast<std::chrono::nanoseconds>(latency).count()));
            ++result_.answered;
            result_.lastAnswer = now;
        } else if (exitStatusOf(kit::End(*error)) == NO_SERVICE) {
            isStopped_ = true;
            result_.lost = kit::End(*error).error().message;
        } else {
            ++result_.errors[error->getStatusCode()];
        }
    }
    pump();
}

void Lane::stop() {
    const std::lock_guard<std::mutex> guard(mutex_);
    isStopped_ = true;
}

bool Lane::isOver() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return result_.open == 0 && (isStopped_ || Clock::now() >= plan_.end);
}

LaneResult Lane::result() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    LaneResult result = result_;
    if (plan_.interval) {
        const Clock::time_point until = std::min(Clock::now(), plan_.end);
        const auto due =
            until <= plan_.begin
                ? 0
                : (until - plan_.begin + *plan_.interval - Clock::duration(1)) / *plan_.interval;
        result.unsent = std::max<std::uint64_t>(static_cast<std::uint64_t>(due), sent_) - sent_;
    }
    return result;
}

}  // namespace kova::tool
