#include "support/Play.h"

#include "kova/core/MimeTypes.h"

namespace fuzz {

using kova::IResponseHandler;
using kova::Request;
using kova::Response;

namespace {

constexpr int MAX_DEPTH = 3;

/// A path, and what the resource mounted nearest is told; "-" where there is none.
struct Route {
    char const* path;
    char const* resourcePath;
};
constexpr Route ROUTES[] = {{"/a", ""},      {"/a/x", "x"}, {"/a/b", ""}, {"/a/b//x/y/", "x/y"},
                            {"/c//d/", "d"}, {"/a/", ""},   {"/ab", "-"}, {"/", "-"}};

}  // namespace

/// The client's end of a request: gets values before the end and the shutdown, and one end.
class Play::Client : public IResponseHandler<Response> {
public:
    Client(Play& play, Call& call) : play_(play), call_(call) {}

    bool onNext(const Response& value) override {
        require(!call_.isTerminated, "no value after the end");
        require(!play_.isShutdown_, "no value after the shutdown");
        require(call_.seen.insert(value.getStatusCode()).second, "no value twice");
        play_.reenter();
        return value.getStatusCode() % 2 == 0;
    }
    void onError(const Response&) override { end(); }
    void onCompleted() override { end(); }

private:
    void end() {
        require(!call_.isTerminated, "a request ends once");
        call_.isTerminated = true;
        play_.pending_.erase(this);
        play_.reenter();
    }

    Play& play_;
    Call& call_;
};

class Play::Resource : public kova::IResourceHandler {
public:
    explicit Resource(Play& play) : play_(play) {}
    /// Ends its requests, or drops them.
    ~Resource() override {
        for (std::size_t i = 0; i < play_.calls_.size(); ++i) {
            if (play_.calls_[i]->resource == this) {
                play_.answer(*play_.calls_[i], i % 2 == 0 ? 2 : 4);
            }
        }
    }
    void* actionRequest(const Request&, Handler&& handler, const std::string& path) override {
        return play_.takeRequest(*this, std::move(handler), path);
    }
    void cancelRequest(void* handle) override { play_.takeCancel(handle); }

private:
    Play& play_;
};

Play::Play(Input& input) : input_(input) {
    kova::servicecomp::overrideMimeTypeFunc(
        [](const Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> resources;
    for (char const* path : {"/a", "/a/b", "/c"}) {
        resources[path] = std::make_unique<Resource>(*this);
    }
    service_ = std::make_unique<kova::StaticComposedKovaService>(std::move(resources));
}

Play::~Play() {
    shutdown();
    require(pending_.empty(), "nothing is pending after the shutdown");
    depth_ = MAX_DEPTH;  // a service that is being destroyed takes no requests
    service_.reset();
}

void Play::step() {
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

void Play::reenter() {
    if (depth_ < MAX_DEPTH && !input_.isEmpty() && input_.byte() % 4 == 0) {
        ++depth_;
        step();
        --depth_;
    }
}

Play::Call* Play::pick() {
    const std::uint8_t number = input_.byte();
    return calls_.empty() ? nullptr : calls_[number % calls_.size()].get();
}

void Play::ask() {
    const Route& route = ROUTES[input_.byte() % std::size(ROUTES)];
    Call& call = *calls_.emplace_back(std::make_unique<Call>());
    Handler client = std::make_unique<Client>(*this, call);
    void* const address = client.get();
    const bool refused = isShutdown_;
    Call* const outer = std::exchange(asked_, &call);
    call.handle = service_->actionRequest(Request("retrieve", route.path), std::move(client));
    asked_ = outer;
    require((client != nullptr) == refused, "a handler that is refused stays with the caller");
    require(call.handle == (call.staysPending ? address : nullptr), "what stays has a handle");
    requireEqual(call.resourcePath, refused ? "-" : route.resourcePath,
                 "the nearest mount is asked");
    if (call.resource == nullptr) {
        require(call.isTerminated != refused, "what no resource takes ends at once");
    }
    if (call.staysPending) {
        pending_.emplace(address, &call);  // one that was left behind at the address stays
    }
}

void* Play::takeRequest(Resource& resource, Handler&& handler, const std::string& path) {
    Call& call = *asked_;
    require(call.resource == nullptr, "one resource is asked once");
    require(handler != nullptr, "a request comes with a handler");
    call.resource = &resource;
    call.resourcePath = path;
    call.resourceSide = std::move(handler);
    const std::uint8_t how = input_.byte();
    answer(call, how);
    reenter();
    call.staysPending = (how & 0x10) != 0;
    return call.staysPending ? &call : nullptr;
}

void Play::takeCancel(void* handle) {
    Call& call = *static_cast<Call*>(handle);
    require(call.maySeeCancel && !call.sawCancel, "what is pending is cancelled, and only once");
    call.sawCancel = true;
    answer(call, input_.byte());
    reenter();
}

void Play::cancel() {
    Call* const call = pick();
    void* const handle = call == nullptr ? this : call->handle;
    const auto found = pending_.find(handle);
    Call* const cancelled = isShutdown_ || found == pending_.end() ? nullptr : found->second;
    if (cancelled != nullptr) {
        cancelled->maySeeCancel = true;
        pending_.erase(found);
    }
    service_->cancelRequest(handle);
    require(cancelled == nullptr || cancelled->sawCancel, "a cancellation reaches the resource");
}

void Play::shutdown() {
    isShutdown_ = true;
    std::map<void*, Call*> cancelled;
    cancelled.swap(pending_);
    for (const auto& [handle, call] : cancelled) {
        call->maySeeCancel = true;
    }
    service_->shutdown();
    for (const auto& [handle, call] : cancelled) {
        require(call->sawCancel, "a shutdown cancels all that is pending");
    }
}

void Play::answer(Call& call, std::uint8_t how) {
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
            require(call.isTerminated, "an end reaches the client");
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

void Play::sendValue(Call& call) {
    const bool isLive = !call.isTerminated && !isShutdown_;
    const unsigned short value = values_++;
    const bool isUnwanted = call.resourceSide->onNext(Response(value));
    require((call.seen.count(value) != 0) == isLive, "a value reaches the client, or none");
    require(isUnwanted || !isLive || value % 2 != 0, "the client's wish reaches the resource");
}

}  // namespace fuzz
