#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "BrokerAccess.h"
#include "Target.h"
#include "kova/core/IKovaApi.h"
#include "kova/kit/Result.h"
#ifdef KOVA_TOOL_NATS
#include "kova/nats/BrokerOptions.h"
#endif

namespace kova::tool {

/// How a connection behaves.
struct ConnectionPlan {
    /// The longest time that a request waits for a connection.
    std::chrono::milliseconds patience{1000};
    /// The longest value in bytes. A broker has a limit of its own, which is smaller.
    std::size_t longest = std::size_t{64} * 1024 * 1024;
};

/// Returns the service that a target names, at an endpoint, on this machine or at a broker. Does
/// not wait for a connection. Fails with 400 if the target or the access to the broker is malformed
/// or if the program was built without libkova_nats, and with the errors of `kova::http::open` if
/// this machine has no such service.
///
///     const auto service = connectTo(*Target::ofService("unix:player.sock"), {}, {});
kit::Result<std::unique_ptr<IKovaApi>> connectTo(const Target& target, const BrokerAccess& access,
                                                 const ConnectionPlan& plan);

/// Returns the error of a program that was built without libkova_nats.
kit::Error withoutNats();

#ifdef KOVA_TOOL_NATS
/// Returns the options of the library for an access.
nats::BrokerOptions brokerOptionsOf(const BrokerAccess& access);
#endif

}  // namespace kova::tool
