#pragma once

#include <memory>
#include <variant>
#include <vector>

#include "calls/CallsCore.h"
#include "kova/kit/Chain.h"
#include "middleware/Passage.h"
#include "middleware/RequestView.h"

namespace kova::kit::detail {

/// The description of a segment of a chain: its observers and functions in their order, and the
/// deadline for the calls to the rest of the chain.
struct SegmentPlan {
    /// A step of the segment: the index of an observer, or a function.
    using Step = std::variant<std::size_t, Chain::Function>;

    std::vector<Step> steps;
    std::shared_ptr<Observers> observers = std::make_shared<Observers>();
    CallsOptions calls;
};

/// A segment of a chain: a part that contains no `Front`.
class Segment final : public IKovaApi {
public:
    using ResponseHandler = Passage::ResponseHandler;

    Segment(SegmentPlan&& plan, IKovaApi& next)
        : plan_(std::move(plan)), core_(next, plan_.calls) {}
    ~Segment() override { core_.closeAndWait(false, {}); }

    void* actionRequest(const Request& request, ResponseHandler&& handler) override;
    void cancelRequest(void* handle) override;

private:
    friend class Passing;

    void* send(const RequestView& view, ResponseHandler&& handler);

    const SegmentPlan plan_;
    CallsCore core_;
};

/// The progress of a request through the steps of a segment. Lives on the stack of
/// `Segment::actionRequest`.
class Passing {
public:
    Passing(Segment& segment, std::unique_ptr<Passage> passage) noexcept
        : segment_(segment), passage_(std::move(passage)) {}

    /// Runs the steps from `step` on, until a step refuses the request or all steps have passed it
    /// on. Does nothing if the request was already passed on or refused.
    void run(std::size_t step, const Request& request);
    /// The handle of the request, or null if it is not pending.
    void* handle() const noexcept { return handle_; }

private:
    void call(const Chain::Function& function, std::size_t step, const Request& request);
    void refuse(const Error& error);

    Segment& segment_;
    std::unique_ptr<Passage> passage_;
    void* handle_ = IKovaApi::UNDEFINED_REQUEST_HANDLE;
};

}  // namespace kova::kit::detail
