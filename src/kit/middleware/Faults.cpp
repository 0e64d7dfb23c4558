#include <atomic>
#include <stdexcept>
#include <utility>

#include "kova/kit/Middleware.h"
#include "middleware/DelayedRequests.h"

namespace kova::kit {

namespace {

/// The fault of a request.
enum class Fault : std::uint8_t { none, drop, error };

// The finalizer of SplitMix64 (Steele, Lea, Flood 2014): returns a pseudo-random number that
// depends only on `seed` and `index`.
std::uint64_t mix(std::uint64_t seed, std::uint64_t index) noexcept {
    std::uint64_t z = seed + (index + 1) * 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

class FaultyService final : public IKovaApi {
public:
    FaultyService(const FaultOptions& options, IKovaApi& next)
        : options_(options), requests_(next, options.delay, options.clock) {}

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        const Fault fault = faultOf(count_.fetch_add(1, std::memory_order_relaxed));
        if (fault == Fault::none) {
            return requests_.send(request, std::move(handler));
        }
        const std::unique_ptr<IResponseHandler<Response>> owned = std::move(handler);
        if (fault == Fault::error) {
            owned->onError(Error{options_.code, "an injected fault"}.toResponse());
        }
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* handle) override { requests_.cancel(handle); }

private:
    Fault faultOf(std::uint64_t index) const noexcept {
        // 53 bits make a double in [0, 1).
        const double chance = static_cast<double>(mix(options_.seed, index) >> 11U) * 0x1p-53;
        if (chance < options_.drop) {
            return Fault::drop;
        }
        return chance < options_.drop + options_.error ? Fault::error : Fault::none;
    }

    const FaultOptions options_;
    std::atomic<std::uint64_t> count_{0};
    detail::DelayedRequests requests_;
};

}  // namespace

Chain::Front faults(const FaultOptions& options) {
    if (!(options.drop >= 0 && options.error >= 0 && options.drop + options.error <= 1)) {
        throw std::invalid_argument("the shares of faults are from 0 to 1 together");
    }
    return [options](IKovaApi& next) { return std::make_unique<FaultyService>(options, next); };
}

}  // namespace kova::kit
