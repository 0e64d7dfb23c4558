#include "support/Scenario.h"

#include "kova/core/MimeTypes.h"

namespace fuzz {

using kova::IResponseHandler;
using kova::Request;
using kova::Response;

namespace {

constexpr int MAX_DEPTH = 3;

/// A path, and the resource path that its handler receives, or "-" if no mount matches.
struct Route {
    char const* path;
    char const* resourcePath;
};
constexpr Route ROUTES[] = {{"/a", ""},      {"/a/x", "x"}, {"/a/b", ""}, {"/a/b//x/y/", "x/y"},
                            {"/c//d/", "d"}, {"/a/", ""},   {"/ab", "-"}, {"/", "-"}};

}  // namespace

/// The client's response handler. Values arrive only before the termination and before the
/// shutdown. A request terminates at most once.
class Scenario::Client : public IResponseHandler<Response> {
public:
    Client(Scenario& scenario, Call& call) : scenario_(scenario), call_(call) {}

    bool onNext(const Response& value) override {
        require(!call_.isTerminated, "no value arrives after the termination");
        require(!scenario_.isShutdown_, "no value arrives after the shutdown");
        require(call_.seen.insert(value.getStatusCode()).second, "no value arrives twice");
        scenario_.reenter();
        return value.getStatusCode() % 2 == 0;
    }
    void onError(const Response&) override { end(); }
    void onCompleted() override { end(); }

private:
    void end() {
        require(!call_.isTerminated, "a request terminates at most once");
        call_.isTerminated = true;
        scenario_.pending_.erase(this);
        scenario_.reenter();
    }

    Scenario& scenario_;
    Call& call_;
};

class Scenario::Resource : public kova::IResourceHandler {
public:
    explicit Resource(Scenario& scenario) : scenario_(scenario) {}
    /// Completes its requests or destroys their handlers.
    ~Resource() override {
        for (std::size_t i = 0; i < scenario_.calls_.size(); ++i) {
            if (scenario_.calls_[i]->resource == this) {
                scenario_.answer(*scenario_.calls_[i], i % 2 == 0 ? 2 : 4);
            }
        }
    }
    void* actionRequest(const Request&, Handler&& handler, const std::string& path) override {
        return scenario_.takeRequest(*this, std::move(handler), path);
    }
    void cancelRequest(void* handle) override { scenario_.takeCancel(handle); }

private:
    Scenario& scenario_;
};

Scenario::Scenario(Input& input) : input_(input) {
    kova::servicecomp::overrideMimeTypeFunc(
        [](const Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> resources;
    for (char const* path : {"/a", "/a/b", "/c"}) {
        resources[path] = std::make_unique<Resource>(*this);
    }
    service_ = std::make_unique<kova::StaticComposedKovaService>(std::move(resources));
}

Scenario::~Scenario() {
    shutdown();
    require(pending_.empty(), "no request is pending after the shutdown");
    depth_ = MAX_DEPTH;  // send no requests while the service is being destroyed
    service_.reset();
}

void Scenario::step() {
    switch (input_.byte() % 8) {
        case 0:
        case 1:
            return ask();
        case 2:
            return cancel();
        case 3:
            return input_.byte() % 4 == 0 ? shutdown() : cancel();
        default:
            if (Call* const call = pick()) {
                answer(*call, input_.byte());
            }
    }
}

void Scenario::reenter() {
    if (depth_ < MAX_DEPTH && !input_.isEmpty() && input_.byte() % 4 == 0) {
        ++depth_;
        step();
        --depth_;
    }
}

Scenario::Call* Scenario::pick() {
    const std::uint8_t number = input_.byte();
    return calls_.empty() ? nullptr : calls_[number % calls_.size()].get();
}

void Scenario::ask() {
    const Route& route = ROUTES[input_.byte() % std::size(ROUTES)];
    Call& call = *calls_.emplace_back(std::make_unique<Call>());
    Handler client = std::make_unique<Client>(*this, call);
    void* const address = client.get();
    const bool rejected = isShutdown_;
    Call* const outer = std::exchange(asked_, &call);
    call.handle = service_->actionRequest(Request("retrieve", route.path), std::move(client));
    asked_ = outer;
    require((client != nullptr) == rejected, "the caller keeps the handler of a rejected request");
    require(call.handle == (call.staysPending ? address : nullptr),
            "exactly pending requests have a handle");
    requireEqual(call.resourcePath, rejected ? "-" : route.resourcePath,
                 "the request reaches the longest matching mount");
    if (call.resource == nullptr) {
        require(call.isTerminated != rejected, "a request without a mount terminates at once");
    }
    if (call.staysPending) {
        pending_.emplace(address, &call);  // does not replace an older entry at that address
    }
}

void* Scenario::takeRequest(Resource& resource, Handler&& handler, const std::string& path) {
    Call& call = *asked_;
    require(call.resource == nullptr, "a request reaches only one resource");
    require(handler != nullptr, "a resource receives a handler with each request");
    call.resource = &resource;
    call.resourcePath = path;
    call.resourceSide = std::move(handler);
    const std::uint8_t how = input_.byte();
    answer(call, how);
    reenter();
    call.staysPending = (how & 0x10) != 0;
    return call.staysPending ? &call : nullptr;
}

void Scenario::takeCancel(void* handle) {
    Call& call = *static_cast<Call*>(handle);
    require(call.maySeeCancel && !call.sawCancel, "only pending requests are cancelled, and once");
    call.sawCancel = true;
    answer(call, input_.byte());
    reenter();
}

void Scenario::cancel() {
    Call* const call = pick();
    void* const handle = call == nullptr ? this : call->handle;
    const auto found = pending_.find(handle);
    Call* const cancelled = isShutdown_ || found == pending_.end() ? nullptr : found->second;
    if (cancelled != nullptr) {
        cancelled->maySeeCancel = true;
        pending_.erase(found);
    }
    service_->cancelRequest(handle);
    require(cancelled == nullptr || cancelled->sawCancel, "the cancellation reaches the resource");
}

void Scenario::shutdown() {
    isShutdown_ = true;
    std::map<void*, Call*> cancelled;
    cancelled.swap(pending_);
    for (const auto& [handle, call] : cancelled) {
        call->maySeeCancel = true;
    }
    service_->shutdown();
    for (const auto& [handle, call] : cancelled) {
        require(call->sawCancel, "a shutdown cancels all pending requests");
    }
}

void Scenario::answer(Call& call, std::uint8_t how) {
    if (call.resourceSide == nullptr || call.isAnswering) {
        return;
    }
    call.isAnswering = true;
    switch (how % 5) {
        case 0:
            break;
        case 1:
            sendValue(call);
            break;
        case 2:
            call.resourceSide->onCompleted();
            require(call.isTerminated, "a completion reaches the client");
            break;
        case 3:
            call.resourceSide->onError(Response(500));
            require(call.isTerminated, "an error reaches the client");
            break;
        default:
            call.resourceSide.reset();
    }
    call.isAnswering = false;
}

void Scenario::sendValue(Call& call) {
    const bool isLive = !call.isTerminated && !isShutdown_;
    const unsigned short value = values_++;
    const bool isUnwanted = call.resourceSide->onNext(Response(value));
    require((call.seen.count(value) != 0) == isLive, "exactly values of live requests arrive");
    require(isUnwanted || !isLive || value % 2 != 0, "the result of onNext reaches the resource");
}

}  // namespace fuzz
