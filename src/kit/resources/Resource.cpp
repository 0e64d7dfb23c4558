#include "kova/kit/Resource.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

#include "kova/core/Errors.h"
#include "kova/kit/resources/Streaming.h"
#include "resources/Forward.h"
#include "resources/Hints.h"
#include "resources/JobState.h"
#include "resources/Router.h"
#include "resources/Served.h"

namespace kova::kit {

namespace detail {

namespace {

class ResourceState final : public Served {
public:
    void add(Route&& route) {
        if (isServing_) {
            throw std::logic_error((route.stream ? "a stream for '" : "a function for '") +
                                   route.operation.path + "' is added after the first request");
        }
        router_.add(std::move(route));
    }
    void mount(const std::string& path, const std::shared_ptr<Served>& stream);
    std::vector<Operation> operations() const override;
    std::string hintFor(std::string_view path) const override;

protected:
    std::shared_ptr<Exchange> serve(Incoming incoming) override;

private:
    void refuse(const Ask& ask, const Router::Match& match, IResponseHandler<Response>& handler);
    std::shared_ptr<Exchange> post(const Route& route, const Router::Match& match,
                                   const std::string& format, Incoming& incoming);

    Router router_;
    std::atomic<bool> isServing_{false};
};

std::vector<Operation> ResourceState::operations() const {
    std::vector<Operation> result;
    for (const Route& route : router_.routes()) {
        if (!route.stream) {
            result.push_back(route.operation);
        } else if (route.arguments.empty()) {
            for (Operation& operation : route.stream->operations()) {
                const bool isElement = !operation.path.empty() && !route.operation.path.empty();
                operation.path = route.operation.path + (isElement ? "/" : "") + operation.path;
                result.push_back(std::move(operation));
            }
        }
    }
    return result;
}

void ResourceState::mount(const std::string& path, const std::shared_ptr<Served>& stream) {
    if (PathTemplate(path).parameters() != 0) {
        throw std::invalid_argument("template '" + path +
                                    "': the path of a stream has no parameters");
    }
    Route whole;
    whole.operation.path = path;
    whole.stream = stream;
    Route elements = whole;
    elements.operation.path += path.empty() ? "{element:rest}" : "/{element:rest}";
    elements.arguments = {ArgumentKind::text};
    elements.prefix = path.empty() ? 0 : path.size() + 1;
    const std::vector<Operation> operations = stream->operations();
    const bool hasElements = std::any_of(operations.begin(), operations.end(),
                                         [](const Operation& each) { return !each.path.empty(); });
    whole.prefix = path.size();
    if (hasElements) {  // refused before the first route is added
        router_.checkUnambiguous(elements, PathTemplate(elements.operation.path));
    }
    add(std::move(whole));
    if (hasElements) {
        add(std::move(elements));
    }
}

std::string ResourceState::hintFor(std::string_view path) const {
    const std::vector<Operation> offered = operations();
    std::vector<std::string_view> templates;
    templates.reserve(offered.size());
    for (const Operation& operation : offered) {
        templates.emplace_back(operation.path);
    }
    const std::string_view similar = mostSimilar(path, templates);
    return similar.empty() ? "; below the mount there are: " + enumerate(templates)
                           : "; did you mean '" + std::string(similar) + "'?";
}

void ResourceState::refuse(const Ask& ask, const Router::Match& match,
                           IResponseHandler<Response>& handler) {
    Error error;
    if (match.routes == nullptr) {
        error = notFound(ask);
        error.message += hintFor(ask.path());
    } else {
        std::vector<std::string_view> commands;
        for (const Route& route : router_.routes()) {
            Router::Match other;
            if (router_.find(route.operation.command, ask.path(), other) != nullptr) {
                commands.emplace_back(route.operation.command);
            }
        }
        error = catalogued(errors::CommandNotSupported, ask.command(), ask.request().getPath());
        error.message += "; supported: " + enumerate(commands);
    }
    handler.onError(error.toResponse());
}

std::shared_ptr<Exchange> ResourceState::serve(Incoming incoming) {
    if (!isServing_.load(std::memory_order_relaxed)) {
        isServing_ = true;
    }
    const Ask& ask = incoming.ask;
    Router::Match match;
    Route const* const route = router_.find(ask.command(), ask.path(), match);
    if (route == nullptr) {
        refuse(ask, match, *incoming.handler);
        return nullptr;
    }
    if (route->stream) {
        const Ask below(ask.request(), ask.path().substr(route->prefix));
        std::shared_ptr<Exchange> exchange = makeExchange(std::move(incoming.handler));
        forward(route->stream, exchange, below, incoming.mount);
        return exchange;
    }
    std::string const* const format = formatOf(ask);
    if (format == nullptr) {
        incoming.handler->onError(unknownFormat(ask.accept()).toResponse());
        return nullptr;
    }
    if (!route->executor.isInline()) {
        return post(*route, match, *format, incoming);
    }
    Dispatch dispatch(ask, {match.captures(), match.count}, *format, std::move(incoming.handler),
                      table());
    invoke(*route, dispatch, incoming.mount->onUncaught());
    return dispatch.takeExchange();
}

std::shared_ptr<Exchange> ResourceState::post(const Route& route, const Router::Match& match,
                                              const std::string& format, Incoming& incoming) {
    auto exchange = makeExchange(std::move(incoming.handler));
    auto job = std::make_shared<JobState>(shared_from_this(), exchange, incoming.ask, format, route,
                                          match, incoming.mount);
    job->watchCancellation();
    if (!route.executor.tryPost([job] { job->run(); })) {
        exchange->fail(Response::createErrorResponse(statuscodes::SERVICE_UNAVAILABLE,
                                                     "the worker is full or has stopped"));
    }
    return exchange;
}

}  // namespace

void invoke(const Route& route, Dispatch& dispatch, const OnUncaught& onUncaught) noexcept {
    const Exchange::Serving serving;
    try {
        route.invoke(dispatch);
    } catch (...) {
        // At this point the request may already have been answered and destroyed.
        dispatch.fail(
            uncaught(route.operation.command + " '" + route.operation.path + "'", onUncaught));
    }
}

}  // namespace detail

Resource::Resource() : Mountable(std::make_shared<detail::ResourceState>()) {}

Resource::~Resource() = default;

Resource& Resource::mount(const std::string& path, const detail::Streaming& stream) {
    static_cast<detail::ResourceState&>(*served()).mount(path, stream.served());
    return *this;
}

void Resource::add(detail::Route&& route) {
    static_cast<detail::ResourceState&>(*served()).add(std::move(route));
}

}  // namespace kova::kit
