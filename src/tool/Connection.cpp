#include "Connection.h"

#include <string_view>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/http/Connect.h"
#include "kova/http/Directory.h"
#include "kova/kit/Locators.h"
#ifdef KOVA_TOOL_NATS
#include "kova/nats/Connect.h"
#endif

namespace kova::tool {

namespace {

using Connected = kit::Result<std::unique_ptr<IKovaApi>>;

Connected connectToMachine(const Target& target, const ConnectionPlan& plan) {
    http::OpenOptions options;
    options.connection.patience = plan.patience;
    options.connection.recordBytes = plan.longest;
    if (!target.address.empty()) {
        options.connection.servicePath = target.servicePath;
        return http::connect(target.address, options.connection);
    }
    auto opened = http::open(kit::locatorOf(target.servicePath, "/"), options);
    if (!opened) {
        return opened.error();
    }
    return std::move(opened->service);
}

#ifdef KOVA_TOOL_NATS
Connected connectToBroker(const Target& target, const BrokerAccess& access,
                          const ConnectionPlan& plan) {
    // The last segment "*" stands for all instances of the service in front of it.
    constexpr std::string_view ALL = "/*";
    std::string path = target.servicePath.empty() ? "/" : target.servicePath;
    std::string instance;
    if (path.size() >= ALL.size() && path.substr(path.size() - ALL.size()) == ALL) {
        path.erase(path.size() - (path == ALL ? 1 : ALL.size()));
        instance = "*";
    }
    nats::ConnectOptions options;
    options.broker = brokerOptionsOf(access);
    options.patience = plan.patience;
    return nats::connect(target.address, path, instance, options);
}
#else
Connected connectToBroker(const Target& /*target*/, const BrokerAccess& /*access*/,
                          const ConnectionPlan& /*plan*/) {
    return withoutNats();
}
#endif

}  // namespace

kit::Error withoutNats() {
    return {statuscodes::BAD_REQUEST,
            "this kova was built without libkova_nats, so it cannot reach brokers"};
}

#ifdef KOVA_TOOL_NATS
nats::BrokerOptions brokerOptionsOf(const BrokerAccess& access) {
    nats::BrokerOptions options;
    options.user = access.user;
    options.password = access.password;
    options.token = access.token;
    options.nkey = access.nkey;
    options.nkeySeedFile = access.nkeySeedFile;
    options.credentialsFile = access.credentialsFile;
    options.caFile = access.caFile;
    options.certificateFile = access.certificateFile;
    options.keyFile = access.keyFile;
    options.prefix = access.prefix;
    options.inboxPrefix = access.inboxPrefix;
    options.heartbeat = access.heartbeat;
    return options;
}
#endif

Connected connectTo(const Target& target, const BrokerAccess& access, const ConnectionPlan& plan) {
    return target.isAtBroker() ? connectToBroker(target, access, plan)
                               : connectToMachine(target, plan);
}

}  // namespace kova::tool
