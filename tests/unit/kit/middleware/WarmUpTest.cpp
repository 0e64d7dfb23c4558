// Checks that the middleware of the kit allocates nothing for a request after warm-up.
#include <gtest/gtest.h>

#include "kova/kit/Middleware.h"
#include "support/Allocations.h"

namespace kova::kit {
namespace {

using Handler = std::unique_ptr<IResponseHandler<Response>>;

/// A response handler that belongs to the test: its owner does not destroy it.
class Reused : public IResponseHandler<Response> {
public:
    bool onNext(const Response& value) override {
        code = value.getStatusCode();
        return false;
    }
    void onError(const Response& error) override { code = error.getStatusCode(); }
    void onCompleted() override { ++completed; }

    static void* operator new(std::size_t, void* memory) noexcept { return memory; }
    static void operator delete(void*) noexcept {}

    unsigned short code = 0;
    static int completed;
};

int Reused::completed = 0;

/// A service that answers either the previous request or the latest request immediately.
class Answering : public IKovaApi {
public:
    explicit Answering(bool later) : later_(later) {}

    void* actionRequest(const Request&, Handler&& handler) override {
        const Handler answered = later_ ? std::move(kept_) : std::move(handler);
        if (later_) {
            kept_ = std::move(handler);
        }
        if (answered) {
            answered->onNext(response_);
            answered->onCompleted();
        }
        return later_ ? this : UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void*) override {}

private:
    const bool later_;
    const Response response_{200};
    Handler kept_;
};

std::size_t allocationsOfRequests(IKovaApi& api, const Request& request, int count) {
    alignas(Reused) static std::byte memory[1100][sizeof(Reused)];
    static std::size_t used = 0;
    const std::size_t before = test::allocations();
    for (int i = 0; i < count; ++i) {
        api.actionRequest(request, Handler(new (memory[used++ % 1100]) Reused));
    }
    return test::allocations() - before;
}

TEST(WarmUp, RequestAllocatesNothingAfterWarmUp) {
    LimitOptions limits;
    limits.pending = 100;
    limits.perPeer = 10;
    limits.streams = 50;
    const Request request("retrieve", "/state/of/something");
    for (const bool later : {false, true}) {
        Reused::completed = 0;
        Answering service(later);
        Chain chain(service);
        chain.use(logging("WARM_UP_TEST")).use(metrics(MetricsRegistry()));
        chain.use(authorize([](const Request&, const Peer&) { return true; }));
        chain.use(deadline(std::chrono::hours(1))).use(limit(limits));
        allocationsOfRequests(chain, request, 500);
        EXPECT_EQ(allocationsOfRequests(chain, request, 500), 0U) << later;
        EXPECT_EQ(Reused::completed, later ? 999 : 1000);
    }
}

}  // namespace
}  // namespace kova::kit
