#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kova/core/StaticComposedKovaService.h"
#include "support/Fuzz.h"

namespace fuzz {

/// A composed service in a play that the bytes of an input write: it plays the client and the
/// resources, calls back into the service from inside their callbacks, and keeps a model of what
/// must come of it.
class Play {
public:
    explicit Play(Input& input);
    /// Ends the play and looks at what is left.
    ~Play();

    /// The next step: asks, cancels, answers or shuts down.
    void step();

private:
    class Client;
    class Resource;
    using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;

    /// One request, from asking to its end.
    struct Call {
        Handler resourceSide;  // what the resource answers through, while it keeps that
        bool isAnswering = false;
        bool isTerminated = false;
        bool maySeeCancel = false;
        bool sawCancel = false;
        bool staysPending = false;
        void* handle = nullptr;
        std::set<unsigned short> seen;  // the values that the client got
        std::string resourcePath = "-";
        Resource* resource = nullptr;
    };

    /// A step out of a callback; not too deep.
    void reenter();
    void ask();
    void cancel();
    void shutdown();
    /// What a resource does with a request that it keeps the handler of.
    void answer(Call& call, std::uint8_t how);
    void sendValue(Call& call);
    Call* pick();
    void* takeRequest(Resource& resource, Handler&& handler, const std::string& path);
    void takeCancel(void* handle);

    Input& input_;
    std::vector<std::unique_ptr<Call>> calls_;
    Call* asked_ = nullptr;
    std::map<void*, Call*> pending_;  // what the service must have in its table
    bool isShutdown_ = false;
    int depth_ = 0;
    unsigned short values_ = 0;
    std::unique_ptr<kova::StaticComposedKovaService> service_;
};

}  // namespace fuzz
