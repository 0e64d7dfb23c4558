#pragma once

#include <string>

#include "kova/kit/Result.h"

namespace kova::tool {

/// A service, and optionally one of its resources, as the user names them.
///
/// A service is one of
///
///     kova:/device                     a service of this machine, by its path
///     unix:SOCKET[$/device]            a service at a Unix socket
///     tcp:HOST:PORT[$/device]          a service at a TCP address
///     http://HOST:PORT[/device]        the same, as the URL of the service
///     nats://HOST[:PORT][/device]      a service at a broker; "tls://" requires TLS
///
/// A resource is one of
///
///     /system/memory                   a resource of the service that the option --to names
///     kova:/device$/system/memory      the locator of a resource
///     unix:SOCKET[$/device]$/system/memory
///     tcp:HOST:PORT[$/device]$/system/memory
///     http://HOST:PORT/[device$/]system/memory
///     nats://HOST[:PORT][/device]$/system/memory
///
/// The service path is only needed where an endpoint serves several services. At a broker, the path
/// of a service without one is "/"; an instance is the last segment of the path, and the last
/// segment "*" stands for all instances. A value type.
///
///     const auto target = Target::ofResource("/level", "unix:player.sock");
///     target->address;   // "unix:player.sock"
///     target->resource;  // "/level"
struct Target {
    /// The address of the endpoint (`kova::http::Address`), or the URL of the broker without a
    /// path.
    /// "" if only `servicePath` names the service.
    std::string address;
    /// The path of the service, or "".
    std::string servicePath;
    /// The path of the resource, or "".
    std::string resource;

    /// Returns the service that a text names. Fails with 400 and a reason that says what to write.
    static kit::Result<Target> ofService(const std::string& text);
    /// Returns the resource that a text names. `to` names the service if the text is only a path;
    /// `to` may be "". If `to` is an address, the service of a locator is looked up at that
    /// address. Fails as `ofService` does.
    static kit::Result<Target> ofResource(const std::string& text, const std::string& to);

    /// Returns whether a text begins as the address of a broker does.
    static bool isBroker(const std::string& text) noexcept;
    /// Returns whether the service is at a broker.
    bool isAtBroker() const noexcept { return isBroker(address); }
    /// Returns the text of the service, which `ofService` accepts.
    std::string serviceText() const;
};

}  // namespace kova::tool
