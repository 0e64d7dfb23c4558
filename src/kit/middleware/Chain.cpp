#include "kova/kit/Chain.h"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <variant>
#include <vector>

#include "middleware/Segment.h"

namespace kova::kit {

namespace detail {

/// The implementation of `Chain`: the list of the middleware and, from the first request on, the
/// services that are built from this list.
class ChainState {
public:
    explicit ChainState(IKovaApi& service) : service_(service) {}
    // Destroys the outer services first, because an outer service uses the inner services until it
    // is destroyed.
    ~ChainState() {
        while (!links_.empty()) {
            links_.pop_back();
        }
    }
    ChainState(const ChainState&) = delete;
    ChainState& operator=(const ChainState&) = delete;

    template <typename Change>
    void change(Change change) {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (first_.load(std::memory_order_relaxed) != nullptr) {
            throw std::logic_error("the middleware of a chain is used before its first request");
        }
        change(parts_);
    }
    /// Returns the outermost service, which gets the requests. Builds the services before the first
    /// request.
    IKovaApi& first() {
        IKovaApi* const first = first_.load(std::memory_order_acquire);
        return first != nullptr ? *first : build();
    }

    /// A part of the chain: either the plan of a segment, or a `Front`.
    struct Part {
        SegmentPlan plan;
        Chain::Front front;
    };
    using Parts = std::vector<Part>;

private:
    IKovaApi& build();

    IKovaApi& service_;
    std::atomic<IKovaApi*> first_{nullptr};
    std::mutex mutex_;
    Parts parts_;
    /// The services from the innermost to the outermost.
    std::vector<std::unique_ptr<IKovaApi>> links_;
};

// Builds the services. The innermost segment has a `Calls` object even if it has no middleware, so
// that every chain has the guarantees of `Calls`.
IKovaApi& ChainState::build() {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (IKovaApi* const built = first_.load(std::memory_order_relaxed)) {
        return *built;
    }
    if (parts_.empty() || parts_.back().front) {
        parts_.emplace_back();
    }
    IKovaApi* next = &service_;
    links_.clear();
    for (auto part = parts_.rbegin(); part != parts_.rend(); ++part) {
        if (part->front) {
            links_.push_back(part->front(*next));
        } else {
            links_.push_back(std::make_unique<Segment>(SegmentPlan(part->plan), *next));
        }
        next = links_.back().get();
    }
    parts_.clear();
    first_.store(next, std::memory_order_release);
    return *next;
}

}  // namespace detail

namespace {

// Returns the plan of the segment to which the next middleware belongs.
detail::SegmentPlan& lastPlan(detail::ChainState::Parts& parts) {
    if (parts.empty() || parts.back().front) {
        parts.emplace_back();
    }
    return parts.back().plan;
}

}  // namespace

Middleware::~Middleware() = default;

Chain::Chain(IKovaApi& service) : state_(std::make_unique<detail::ChainState>(service)) {}

Chain::~Chain() = default;

Chain& Chain::use(std::shared_ptr<Middleware> middleware) {
    state_->change([&](detail::ChainState::Parts& parts) {
        detail::SegmentPlan& plan = lastPlan(parts);
        plan.steps.emplace_back(plan.observers->add(std::move(middleware)));
    });
    return *this;
}

Chain& Chain::use(const Deadline& deadline) {
    state_->change([&](detail::ChainState::Parts& parts) {
        CallsOptions& options = lastPlan(parts).calls;
        const bool isLimited = options.deadline.count() > 0;
        if (deadline.limit.count() > 0 && (!isLimited || deadline.limit < options.deadline)) {
            options.deadline = deadline.limit;
            options.clock = deadline.clock;
        }
    });
    return *this;
}

Chain& Chain::useFunction(Function function) {
    state_->change([&](detail::ChainState::Parts& parts) {
        lastPlan(parts).steps.emplace_back(std::move(function));
    });
    return *this;
}

Chain& Chain::useFront(Front front) {
    state_->change([&](detail::ChainState::Parts& parts) {
        parts.emplace_back();
        parts.back().front = std::move(front);
    });
    return *this;
}

void* Chain::actionRequest(const Request& request,
                           std::unique_ptr<IResponseHandler<Response>>&& handler) {
    return state_->first().actionRequest(request, std::move(handler));
}

void Chain::cancelRequest(void* handle) {
    state_->first().cancelRequest(handle);
}

}  // namespace kova::kit
