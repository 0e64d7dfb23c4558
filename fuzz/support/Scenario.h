#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kova/core/StaticComposedKovaService.h"
#include "support/Fuzz.h"

namespace fuzz {

/// A sequence of operations on a composed service, which the bytes of an input select. It acts as
/// the client and as the resources, and also calls the service from within their callbacks. It
/// maintains a model of the service and checks each result against it.
class Scenario {
public:
    explicit Scenario(Input& input);
    /// Shuts the service down and destroys it, and checks that no request is pending.
    ~Scenario();

    /// Performs the next step: a request, a cancellation, an answer or a shutdown.
    void step();

private:
    class Client;
    class Resource;
    using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;

    /// One request and its expected and actual state.
    struct Call {
        Handler resourceSide;  // the response handler, while the resource owns it
        bool isAnswering = false;
        bool isTerminated = false;
        bool maySeeCancel = false;
        bool sawCancel = false;
        bool staysPending = false;
        void* handle = nullptr;
        std::set<unsigned short> seen;  // the values that the client received
        std::string resourcePath = "-";
        Resource* resource = nullptr;
    };

    /// Performs a step from within a callback, up to a maximum depth.
    void reenter();
    void ask();
    void cancel();
    void shutdown();
    /// Answers a request whose handler the resource owns: with a value, a completion or an error.
    /// It may also do nothing, or destroy the handler.
    void answer(Call& call, std::uint8_t how);
    void sendValue(Call& call);
    /// Returns one of the requests so far, or null if there are no requests.
    Call* pick();
    /// Handles a request that arrives at a resource.
    void* takeRequest(Resource& resource, Handler&& handler, const std::string& path);
    /// Handles a cancellation that arrives at a resource.
    void takeCancel(void* handle);

    Input& input_;
    std::vector<std::unique_ptr<Call>> calls_;
    Call* asked_ = nullptr;
    std::map<void*, Call*> pending_;  // the expected entries of the service's table
    bool isShutdown_ = false;
    int depth_ = 0;
    unsigned short values_ = 0;
    std::unique_ptr<kova::StaticComposedKovaService> service_;
};

}  // namespace fuzz
