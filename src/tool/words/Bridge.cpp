// The word bridge: carries a service from this machine to a broker, or from a broker to this
// machine.
#include <poll.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <utility>

#include "BridgeFilter.h"
#include "Connection.h"
#include "ExitStatus.h"
#include "Report.h"
#include "Text.h"
#include "Words.h"
#include "kova/core/StatusCodes.h"
#include "kova/http/Endpoint.h"
#include "kova/nats/Server.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

// The time that pending requests have at the end.
constexpr std::chrono::seconds PATIENCE(2);
// The time after which the bridge says that it is not connected yet.
constexpr std::chrono::seconds SILENCE(3);
// The local inspection shows the requests of all clients, and a service trusts the user of the
// bridge with it.
constexpr char const* INSPECTION = "/.kova";

/// The parsed command line.
struct BridgeOptions {
    std::string from;
    std::string to;
    std::vector<std::string> allow;
    std::vector<std::string> deny;
    bool isReadOnly = false;
    bool hasInspection = false;
    std::string instance;
    milliseconds heartbeat = BrokerAccess().heartbeat;
};

/// What the command line describes.
struct Plan {
    Target from;
    Target to;  ///< only if the bridge serves at a broker
    BridgeRules rules;
    BrokerAccess access;
};

kit::Result<void> addGlobs(const std::vector<std::string>& globs, std::vector<PathPatterns>& to) {
    for (const std::string& glob : globs) {
        auto pattern = pathsBelow(glob);
        if (!pattern) {
            return pattern.error();
        }
        to.push_back(*std::move(pattern));
    }
    return {};
}

kit::Result<BridgeRules> rulesOf(const BridgeOptions& options) {
    BridgeRules rules;
    std::vector<std::string> deny = options.deny;
    if (!options.hasInspection) {
        deny.emplace_back(INSPECTION);
    }
    if (auto added = addGlobs(options.allow, rules.allow); !added) {
        return added.error();
    }
    if (auto added = addGlobs(deny, rules.deny); !added) {
        return added.error();
    }
    rules.isReadOnly = options.isReadOnly;
    return rules;
}

// Sets the service at the broker: its path is that of `from` unless `to` has one.
kit::Result<void> readBroker(const BridgeOptions& options, Plan& plan) {
    auto to = Target::ofService(options.to);
    if (!to) {
        return to.error();
    }
    plan.to = *std::move(to);
    std::string& path = plan.to.servicePath;
    if (path.empty()) {
        path = plan.from.servicePath.empty() ? "/" : plan.from.servicePath;
    }
    if (path.substr(path.rfind('/')) == "/*") {
        return kit::Error{400,
                          "'" + options.to + "': '*' names all instances, so no server has it"};
    }
    return {};
}

kit::Result<Plan> planOf(const BridgeOptions& options, const BrokerAccess& access) {
    const bool isToBroker = Target::isBroker(options.to);
    Plan plan;
    plan.access = access;
    plan.access.heartbeat = options.heartbeat;
    auto from = Target::ofService(options.from);
    if (!from) {
        return from.error();
    }
    plan.from = *std::move(from);
    if (plan.from.isAtBroker() == isToBroker) {
        return kit::Error{400,
                          "one end of a bridge is a broker, nats://HOST/SERVICE; the other is on "
                          "this machine: unix:SOCKET, tcp:HOST:PORT or kova:/SERVICE"};
    }
    if (isToBroker) {
        if (auto read = readBroker(options, plan); !read) {
            return read.error();
        }
    } else if (!options.instance.empty()) {
        return kit::Error{400,
                          "--instance names the server that the bridge is at a broker; to reach an "
                          "instance, write its name behind the path in " +
                              options.from};
    }
    auto rules = rulesOf(options);
    if (!rules) {
        return rules.error();
    }
    plan.rules = *std::move(rules);
    return plan;
}

// Returns whether Ctrl-C was pressed within the time; -1 is no limit.
bool isInterrupted(const Context& context, int limit) {
    pollfd source{context.interrupt, POLLIN, 0};
    return ::poll(&source, 1, limit) > 0;
}

// Prints the address, and waits for Ctrl-C.
void serve(const Context& context, const std::string& address) {
    context.out.stream << address << '\n' << std::flush;
    context.err.stream << "serving; Ctrl-C ends it\n" << std::flush;
    while (!isInterrupted(context, -1)) {
    }
}

// Waits until the broker delivers requests, and then for Ctrl-C. A broker that cannot be reached
// may start later; one that refuses the bridge is an error of the configuration.
ExitStatus serveUntilInterrupt(const Context& context, const Target& to, const std::string& address,
                               const nats::Server& server) {
    const auto start = std::chrono::steady_clock::now();
    for (bool isSilent = true; !isInterrupted(context, 0);) {
        const kit::Result<void> serving = server.waitUntilServing(milliseconds(100));
        if (serving) {
            serve(context, address);
            break;
        }
        if (serving.error().code != statuscodes::SERVICE_UNAVAILABLE) {
            return reportEnd(context, to, kit::End(kit::End::Kind::failed, serving.error()));
        }
        if (isSilent && std::chrono::steady_clock::now() - start > SILENCE) {
            isSilent = false;
            context.err.stream << "not serving yet: " << visible(serving.error().message) << '\n'
                               << std::flush;
        }
    }
    return DONE;
}

int serveAtBroker(const Context& context, const BridgeOptions& options, const Plan& plan,
                  IKovaApi& service) {
    nats::ServerOptions server;
    server.servicePath = plan.to.servicePath;
    server.instance = options.instance;
    server.broker = brokerOptionsOf(plan.access);
    nats::Server bridge(service, plan.to.address, server);
    const std::string address =
        plan.to.serviceText() + (options.instance.empty() ? "" : "/" + options.instance);
    const ExitStatus status = serveUntilInterrupt(context, plan.to, address, bridge);
    static_cast<void>(bridge.stop(PATIENCE));
    return status;
}

int serveOnMachine(const Context& context, const BridgeOptions& options, IKovaApi& service) {
    http::Endpoint bridge(service, options.to);
    serve(context, bridge.address());
    static_cast<void>(bridge.stop(PATIENCE));
    return DONE;
}

int bridge(const Context& context, const BridgeOptions& options) {
    const auto plan = planOf(options, context.broker);
    if (!plan) {
        return misused(context, plan.error());
    }
    const auto service = connectTo(plan->from, plan->access, {});
    if (!service) {
        return reportOpen(context, service.error());
    }
    BridgeFilter filter(**service, plan->rules);
    try {
        return plan->to.address.empty() ? serveOnMachine(context, options, filter)
                                        : serveAtBroker(context, options, *plan, filter);
    } catch (const std::exception& error) {
        return misused(context, {400, visible(error.what())});
    }
}

void addFilters(CLI::App& word, BridgeOptions& options) {
    word.add_option("--allow", options.allow,
                    "only requests for paths that match this glob, and below, pass; repeatable")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("GLOB");
    word.add_option("--deny", options.deny,
                    "no requests for paths that match this glob, and below, pass; wins over "
                    "--allow; repeatable")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("GLOB");
    word.add_flag("--read-only", options.isReadOnly, "only retrievals and streams pass");
    word.add_flag("--inspection", options.hasInspection,
                  "requests for /.kova pass, too; clients then see the requests of others");
}

}  // namespace

void addBridge(Words& words) {
    const auto options = std::make_shared<BridgeOptions>();
    CLI::App& word = words.add(
        "bridge", "Carries a service from this machine to a broker, or from a broker to it",
        {"kova bridge kova:/device nats://broker/device --instance car-17 --read-only",
         "kova bridge unix:player.sock nats://broker/player --deny /tracks",
         "kova bridge nats://broker/device/car-17 unix:device.sock"});
    word.add_option("FROM", options->from, "the service: an address, a locator or nats://HOST/PATH")
        ->required()
        ->type_name("");
    word.add_option("TO", options->to,
                    "where to serve it: nats://HOST[/PATH], unix:SOCKET, tcp:HOST:PORT or "
                    "kova:/SERVICE")
        ->required()
        ->type_name("");
    addFilters(word, *options);
    word.add_option("--instance", options->instance,
                    "the name of this server among those of the same path at the broker")
        ->type_name("NAME");
    addTime(word, "--heartbeat", options->heartbeat,
            "an end of a request that is silent for twice this time is lost; 100ms to 1h [5s]");
    words.onSelected(word, [options](const Context& context) { return bridge(context, *options); });
}

}  // namespace kova::tool
