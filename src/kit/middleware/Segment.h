#pragma once

#include <memory>
#include <variant>
#include <vector>

#include "calls/CallsCore.h"
#include "kova/kit/Chain.h"
#include "middleware/Passage.h"
#include "middleware/RequestView.h"

namespace kova::kit::detail {

/// A part of a chain: observers and functions in their order, then the calls to the rest of the
/// chain. These calls have the deadline.
struct SegmentPlan {
    /// The index of an observer, or a function.
    using Step = std::variant<std::size_t, Chain::Function>;

    std::vector<Step> steps;
    std::shared_ptr<Observers> observers = std::make_shared<Observers>();
    CallsOptions calls;
};

/// A part of a chain without a `Front`.
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

/// The state of `Segment::actionRequest`: how far the request has come. It lives on the stack.
class Passing {
public:
    Passing(Segment& segment, std::unique_ptr<Passage> passage) noexcept
        : segment_(segment), passage_(std::move(passage)) {}

    /// Takes the request from this step on as far as it comes. Does nothing if it was passed on or
    /// refused already.
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
