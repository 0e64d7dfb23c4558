#include <atomic>
#include <string>

#include "kova/kit/Middleware.h"
#include "middleware/PeerCounts.h"
#include "middleware/RequestView.h"
#include "resources/ScopedPeer.h"

namespace kova::kit {

namespace {

/// A counter with an upper bound. The bound 0 means that there is no bound.
class Bounded {
public:
    explicit Bounded(std::size_t bound) noexcept : bound_(bound) {}

    std::size_t bound() const noexcept { return bound_; }
    /// Adds 1 and returns true, or returns false if the counter has reached the bound.
    bool add() noexcept {
        if (bound_ == 0) {
            return true;
        }
        if (number_.fetch_add(1, std::memory_order_relaxed) < bound_) {
            return true;
        }
        remove();
        return false;
    }
    void remove() noexcept {
        if (bound_ != 0) {
            number_.fetch_sub(1, std::memory_order_relaxed);
        }
    }

private:
    const std::size_t bound_;
    std::atomic<std::size_t> number_{0};
};

/// The state of a request: the counters in which it is counted.
struct Counted {
    detail::PeerCounts::Count* peer = nullptr;
    bool pending = false;
    bool self = false;
    bool stream = false;
};

Error exceeded(char const* what, std::size_t bound) {
    return {statuscodes::SERVICE_UNAVAILABLE,
            std::string("too many ") + what + ": at most " + std::to_string(bound)};
}

class Limiter final : public Observer<Counted> {
public:
    explicit Limiter(const LimitOptions& options)
        : pending_(options.pending), self_(options.perPeer), streams_(options.streams) {}

    Result<void> begin(const Ask& ask, Counted& counted) override {
        Result<void> result = count(ask, counted);
        if (!result) {
            release(counted);
        }
        return result;
    }
    void end(const Outcome& /*outcome*/, Counted& counted) noexcept override { release(counted); }

private:
    Result<void> count(const Ask& ask, Counted& counted) {
        counted.pending = pending_.add();
        if (!counted.pending) {
            return exceeded("pending requests", pending_.bound());
        }
        if (!countPeer(counted)) {
            return exceeded("pending requests of the peer", self_.bound());
        }
        if (streams_.bound() != 0 && detail::RequestView::of(ask).wantsStream()) {
            counted.stream = streams_.add();
            if (!counted.stream) {
                return exceeded("streams", streams_.bound());
            }
        }
        return {};
    }
    // Requests from within the process belong to one peer. Counting them needs neither a system
    // call nor a look-up in the table.
    bool countPeer(Counted& counted) {
        if (self_.bound() == 0) {
            return true;
        }
        if (const Peer* const peer = detail::scopedPeer()) {
            counted.peer = peers_.add(*peer, self_.bound());
            return counted.peer != nullptr;
        }
        counted.self = self_.add();
        return counted.self;
    }
    void release(const Counted& counted) noexcept {
        if (counted.stream) {
            streams_.remove();
        }
        if (counted.self) {
            self_.remove();
        }
        if (counted.peer != nullptr) {
            peers_.remove(counted.peer);
        }
        if (counted.pending) {
            pending_.remove();
        }
    }

    Bounded pending_;
    Bounded self_;
    Bounded streams_;
    detail::PeerCounts peers_;
};

}  // namespace

std::shared_ptr<Middleware> limit(const LimitOptions& options) {
    return std::make_shared<Limiter>(options);
}

}  // namespace kova::kit
