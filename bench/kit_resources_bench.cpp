// The cost of `kit::Resource` and `kit::Service` in front of a function: dispatch among templates,
// a request compared with the bare core, and a stop with many pending requests.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/Contest.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

using Handler = std::unique_ptr<IResponseHandler<Response>>;

// --- Dispatch ------------------------------------------------------------------------------------

/// Returns the beginning of a template such as "group4/item49/{id:uint}/name".
std::string groupOf(std::size_t index) {
    return "group" + std::to_string(index / 10) + "/item" + std::to_string(index);
}
/// Returns a path that matches the last of `count` templates.
std::string pathOf(std::size_t count) {
    return groupOf(count - 1) + "/4711/name";
}

/// Stands for the function that serves the requests of a group. Returns whether `id` is the
/// expected one.
bool isServed(unsigned id) {
    return id == 4711;
}

struct KitDispatch {
    explicit KitDispatch(std::size_t count) : path(pathOf(count)) {
        for (std::size_t i = 0; i < count; ++i) {
            resource.on(kit::command::retrieve, groupOf(i) + "/{id:uint}/name",
                        [this](const kit::Ask&, unsigned id) { served = isServed(id); });
        }
        handler = resource.handler();
    }
    bool operator()(const Request& request) {
        handler->actionRequest(request, std::make_unique<Receiver>(), path);
        return served;
    }

    bool served = false;
    std::string path;
    kit::Resource resource;
    std::unique_ptr<IResourceHandler> handler;
};

/// A dispatcher that tries one regular expression after the other.
struct RegexDispatch {
    explicit RegexDispatch(std::size_t count) : path(pathOf(count)) {
        for (std::size_t i = 0; i < count; ++i) {
            expressions.emplace_back(groupOf(i) + "/([0-9]+)/name");
        }
    }
    bool operator()(const Request& request) {
        const Handler handler = std::make_unique<Receiver>();
        std::smatch match;
        for (const std::regex& expression : expressions) {
            if (request.getCommand() == "retrieve" && std::regex_match(path, match, expression)) {
                const bool served = isServed(static_cast<unsigned>(std::stoul(match[1])));
                handler->onCompleted();
                return served;
            }
        }
        return false;
    }

    std::string path;
    std::vector<std::regex> expressions;
};

/// A dispatcher with a trie of segments, in which each node has a map of literals and one
/// parameter.
struct TrieDispatch {
    struct Node {
        std::unordered_map<std::string_view, std::unique_ptr<Node>> literals;
        std::unique_ptr<Node> parameter;
        bool isEnd = false;
    };
    explicit TrieDispatch(std::size_t count) : path(pathOf(count)) {
        for (std::size_t i = 0; i < count; ++i) {
            texts.push_back(std::make_unique<std::string>(groupOf(i)));
            const std::string_view text = *texts.back();
            const std::size_t slash = text.find('/');
            Node& group = literal(root, text.substr(0, slash));
            Node& item = literal(group, text.substr(slash + 1));
            item.parameter = std::make_unique<Node>();
            literal(*item.parameter, "name").isEnd = true;
        }
    }
    static Node& literal(Node& node, std::string_view text) {
        std::unique_ptr<Node>& child = node.literals[text];
        if (!child) {
            child = std::make_unique<Node>();
        }
        return *child;
    }
    bool operator()(const Request& request) {
        const Handler handler = std::make_unique<Receiver>();
        unsigned id = 0;
        Node const* node = &root;
        std::string_view rest = path;
        while (node != nullptr && !rest.empty()) {
            const std::size_t end = std::min(rest.find('/'), rest.size());
            node = next(*node, rest.substr(0, end), id);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        if (node == nullptr || !node->isEnd || request.getCommand() != "retrieve") {
            return false;
        }
        const bool served = isServed(id);
        handler->onCompleted();
        return served;
    }
    static Node const* next(const Node& node, std::string_view segment, unsigned& id) {
        const auto found = node.literals.find(segment);
        if (found != node.literals.end()) {
            return found->second.get();
        }
        std::from_chars(segment.data(), segment.data() + segment.size(), id);
        return node.parameter.get();
    }

    std::string path;
    std::vector<std::unique_ptr<std::string>> texts;
    Node root;
};

template <typename Dispatch>
auto dispatched(std::size_t count) {
    auto dispatch = std::make_shared<Dispatch>(count);
    return [dispatch, request = Request("retrieve", "/mount/" + pathOf(count))] {
        return (*dispatch)(request);
    };
}

// --- A request through a service -----------------------------------------------------------------

const Response ANSWER(statuscodes::OK, kit::toPayload(7).value());

/// A resource that answers at once, written by hand.
class Hand : public IResourceHandler {
public:
    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
        const Handler own = std::move(handler);
        own->onNext(ANSWER);
        own->onCompleted();
        return nullptr;
    }
    void cancelRequest(void*) override {}
};

auto servedByTheKit() {
    struct Parts {
        kit::Resource resource;
        std::unique_ptr<kit::Service> service;
        Request request{"retrieve", "/state"};
    };
    auto parts = std::make_shared<Parts>();
    parts->resource.on(kit::command::retrieve, "", [](const kit::Ask&) { return ANSWER; });
    kit::ServiceBuilder builder;
    parts->service = builder.mount("/state", parts->resource).build();
    return [parts] {
        return parts->service->actionRequest(parts->request, std::make_unique<Receiver>());
    };
}

auto servedByTheCore() {
    std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
    handlers["/state"] = std::make_unique<Hand>();
    auto service = std::make_shared<StaticComposedKovaService>(std::move(handlers));
    return [service, request = Request("retrieve", "/state")] {
        return service->actionRequest(request, std::make_unique<Receiver>());
    };
}

// --- Stopping a service --------------------------------------------------------------------------

constexpr std::size_t PENDING = 100'000;

/// Measures `Service::stop` with many requests that wait for an answer.
void stopWithPending(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<kit::Reply<int>> replies;
        replies.reserve(PENDING);
        kit::Resource resource;
        resource.on(kit::command::retrieve, "", [&](const kit::Ask&, kit::Reply<int> reply) {
            replies.push_back(std::move(reply));
        });
        kit::ServiceBuilder builder;
        const auto service = builder.mount("/state", resource).build();
        const Request request("retrieve", "/state");
        for (std::size_t i = 0; i < PENDING; ++i) {
            service->actionRequest(request, std::make_unique<Receiver>());
        }
        const auto begin = std::chrono::steady_clock::now();
        const bool isStuck = !service->stop(std::chrono::seconds(10)).empty();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        if (isStuck || replies.front().isOpen()) {
            state.SkipWithError("a request is still pending");
        }
    }
}

const Entries ENTRIES([] {
    for (const std::size_t count : {10U, 50U, 1000U}) {
        const std::string name = "dispatch among " + std::to_string(count) + " templates";
        contest(name, "kova", [count] { return dispatched<KitDispatch>(count); });
        contest(name, "std::regex", [count] { return dispatched<RegexDispatch>(count); });
        contest(name, "plain", [count] { return dispatched<TrieDispatch>(count); });
    }
    contest("request through Service, answered at once", "kova", [] { return servedByTheKit(); });
    contest("request through Service, answered at once", "plain", [] { return servedByTheCore(); });
    benchmark::RegisterBenchmark("stop with 100 000 pending/kova", &stopWithPending)
        ->UseManualTime()
        ->Iterations(5)
        ->Unit(benchmark::kMillisecond);
});

}  // namespace

}  // namespace kova::bench
