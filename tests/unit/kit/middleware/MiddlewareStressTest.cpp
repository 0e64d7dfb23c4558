// Some threads send and cancel requests at random while others answer, drop and reject them. In the
// end no request is pending, and every request has ended exactly once for every middleware.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <random>

#include "kova/core/headers.h"
#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/Threads.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using Handler = std::unique_ptr<IResponseHandler<Response>>;

constexpr int SENDERS = 3;
constexpr int ANSWERERS = 2;
const int REQUESTS = 1500 * test::stressFactor();

/// A service that keeps requests until a thread answers or drops them. It reuses handles.
class Careless : public IKovaApi {
public:
    void* actionRequest(const Request& request, Handler&& handler) override {
        if (request.getPath() == "/rejected") {
            return UNDEFINED_REQUEST_HANDLE;
        }
        void* const handle = handler.get();
        const std::lock_guard<std::mutex> guard(mutex_);
        kept_.push_back(std::move(handler));
        return handle;
    }
    void cancelRequest(void* handle) override {
        Handler found;
        const std::lock_guard<std::mutex> guard(mutex_);
        for (Handler& kept : kept_) {
            if (kept.get() == handle) {
                found = std::move(kept);
            }
        }
    }
    Handler take() {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (kept_.empty()) {
            return nullptr;
        }
        Handler handler = std::move(kept_.front());
        kept_.pop_front();
        return handler;
    }

private:
    std::mutex mutex_;
    std::deque<Handler> kept_;
};

void finish(Handler handler, unsigned chance) {
    if (handler == nullptr || chance % 5 == 0) {
        return;
    }
    handler->onNext(Response(200));
    if (chance % 5 == 1) {
        handler->onError(Response::createErrorResponse(409, "no"));
    } else {
        handler->onCompleted();
    }
}

struct Balance {
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
};

class Balancing : public Observer<bool> {
public:
    explicit Balancing(Balance& balance) : balance_(balance) {}
    Result<void> begin(const Ask&, bool&) override {
        ++balance_.begun;
        return {};
    }
    void end(const Outcome&, bool& ended) noexcept override {
        balance_.ended += ended ? 1000 : 1;
        ended = true;
    }

private:
    Balance& balance_;
};

Request requestOf(unsigned chance) {
    Request request("retrieve", chance % 7 == 0 ? "/rejected" : "/state");
    if (chance % 3 == 0) {
        headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    }
    return request;
}

void send(Chain& chain, unsigned seed) {
    std::mt19937 random(seed);
    std::deque<void*> handles;
    const Peer peer{static_cast<long>(seed % 2), 0, 1, "unix:"};
    const PeerScope scope(peer);
    for (int i = 0; i < REQUESTS; ++i) {
        const auto chance = static_cast<unsigned>(random());
        handles.push_back(chain.actionRequest(requestOf(chance), testing::record().handler()));
        if (chance % 4 == 0) {
            chain.cancelRequest(handles[chance / 4 % handles.size()]);
        }
        if (handles.size() > 50) {
            handles.pop_front();
        }
    }
}

/// Returns the number of requests of a peer that the middleware accepts before it rejects one. The
/// accepted requests stay pending.
int accepted(Chain& chain, long uid) {
    const Peer peer{uid, 0, 1, "unix:"};
    const PeerScope scope(peer);
    int count = 0;
    while (chain.actionRequest({"retrieve", "/state"}, testing::record().handler()) != nullptr) {
        ++count;
    }
    return count;
}

TEST(MiddlewareStress, EachRequestEndsOnceForEachMiddleware) {
    Balance outer;
    Balance inner;
    MetricsRegistry registry;
    LimitOptions limits;
    limits.pending = 40;
    limits.perPeer = 30;
    limits.streams = 20;
    FaultOptions disturbed;
    disturbed.drop = 0.05;
    disturbed.error = 0.05;
    disturbed.delay = 1ms;
    const std::shared_ptr<Middleware> limiter = limit(limits);
    const std::shared_ptr<Middleware> innerLimiter = limit(limits);
    Careless service;
    std::atomic<int> sending{SENDERS};
    auto chain = std::make_unique<Chain>(service);
    chain->use(std::make_shared<Balancing>(outer)).use(metrics(registry, {"/state"}));
    chain->use(deadline(20ms)).use(limiter).use(faults(disturbed));
    chain->use(std::make_shared<Balancing>(inner)).use(innerLimiter);
    // On a busy machine, the senders could end before the delay of the first request.
    int first = 0;
    for (; inner.begun == 0; ++first) {
        chain->actionRequest({"retrieve", "/state"}, testing::record().handler());
        std::this_thread::yield();
    }
    test::runOnThreads(SENDERS + ANSWERERS, [&](int thread) {
        if (thread < SENDERS) {
            send(*chain, static_cast<unsigned>(thread));
            --sending;
            return;
        }
        std::mt19937 random(static_cast<unsigned>(thread));
        while (sending != 0) {
            finish(service.take(), static_cast<unsigned>(random()));
        }
    });
    chain.reset();
    while (const Handler left = service.take()) {
    }
    EXPECT_EQ(outer.begun, SENDERS * REQUESTS + first);
    EXPECT_EQ(outer.ended, outer.begun);
    EXPECT_EQ(inner.ended, inner.begun);
    EXPECT_NE(registry.text().find("kova_requests_pending 0\n"), std::string::npos);
    for (const auto& middleware : {limiter, innerLimiter}) {
        Chain idle(service);
        idle.use(middleware);
        EXPECT_EQ(accepted(idle, 0), 30);
        EXPECT_EQ(accepted(idle, 1), 10);
    }
}

}  // namespace
}  // namespace kova::kit
