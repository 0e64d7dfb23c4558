#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Result.h"
#include "kova/nats/BrokerOptions.h"
#include "kova/nats/Export.h"

namespace kova::nats {

/// The instance name that means all instances.
constexpr char const* ALL_INSTANCES = "*";
/// The header entry of values from all instances: the name of the instance that has sent the value.
constexpr char const* INSTANCE_HEADER = "$instance";

/// Options of `connect`.
struct ConnectOptions {
    BrokerOptions broker = {};  ///< the connection to the broker: login, TLS, heartbeat
    /// The longest time that a request waits for a connection to the broker. The request then ends
    /// with 503.
    std::chrono::milliseconds patience = std::chrono::seconds(1);
    /// The number of values of one answer that the server may send before the response handler has
    /// received them. While a response handler blocks, the server stops at this number. 1 to
    /// 1 048 576.
    std::uint32_t window = 256;
    /// For requests to all instances: the search for instances ends when no further instance has
    /// answered for this time. 1 ms to 1 min.
    std::chrono::milliseconds gathering = std::chrono::milliseconds(250);
    /// Sends a retrieval again, at most three times, if it is lost before its first value has
    /// arrived. No other command is ever sent again.
    bool retriesRetrievals = false;
    /// Subscribes again if a stream is lost. A stream is a retrieval that asks for one
    /// (`headers::PERSISTENT_STREAM`), or whose last value has the status 299. Any server of the
    /// service path may get the request, or the server with the instance name, and then sends a
    /// fresh snapshot. The stream waits for a connection and for a server without a limit. Changes
    /// that happen meanwhile are not sent, and nothing tells the response handler of the gap.
    bool resubscribes = false;
};

/// Returns a service that a `Server` of another process or machine serves through a broker.
///
/// `url` is the URL of the broker, or of several servers of its cluster, separated by commas:
/// "nats://HOST:PORT" or "tls://HOST:PORT". If `instance` is empty, each request is sent to any one
/// of the servers of the service path; its whole answer comes from that server. Otherwise all
/// requests are sent to the server with that instance name. An instance is a part of the service
/// path, too: "car-17" of "/device" is also reached as "/device/car-17".
///
/// If `instance` is `ALL_INSTANCES`, each request is sent to all servers of the service path that
/// have an instance name. The response handler gets the values of all of them, each with the header
/// entry `INSTANCE_HEADER`. An instance whose answer is an error gives a value with that error. The
/// request completes when all answers have ended, and fails with 503 "no server ..." if no instance
/// is found. A stream (a retrieval with the semantic `headers::PERSISTENT_STREAM`) searches again
/// in each heartbeat: instances that are new join it, and instances that were lost (503) join it
/// again, with a fresh snapshot. Any other request is sent to each instance at most once.
///
/// Returns the error 400 if an argument or option is malformed or out of its range, and 503 if the
/// system refuses a thread. Does not wait for a connection.
///
/// The object is used as the service itself: response handlers get the same values, errors and
/// completions, in the same order. They are called on one thread of the object, so a response
/// handler that blocks delays the answers of all its requests. Each request ends once. It ends with
/// the error
///
/// - 503 "no server ..." as soon as the broker reports that no server has subscribed; the broker
///   has delivered the request to none,
/// - 503 "lost: ..." if the connection to the broker is lost, if a message of the answer is lost,
///   if the server has been silent for two heartbeats, or if the request has waited for a
///   connection for `ConnectOptions::patience`; callers that use `kova::kit` get the end "lost",
/// - 413 if the request is longer than the broker's limit for messages (1 MB by default),
/// - 401 if the broker refuses the login, 403 if it does not permit the subject,
/// - 502 "malformed answer: ..." if the server does not follow the protocol (`docs/nats.md`).
///
/// A lost request is not repeated by default, because a server may have received it. The options
/// `retriesRetrievals` and `resubscribes` repeat retrievals that are lost because of the
/// connection, a message or a server: one that is silent, or that stops. A server that is silent
/// without having closed its connection to the broker may get a repeated request again, until the
/// broker notices.
///
/// The object survives restarts of the broker: it connects again by itself. The delay between two
/// attempts to connect, and before a request is repeated, grows from 20 ms to at most a second, and
/// is shortened by a random part of up to a half.
///
/// Any thread may call the functions of the object, also from inside a response handler. Its
/// destructor cancels the pending requests, and waits for a response handler that is being called,
/// unless the destructor is called from inside that handler.
///
///     const auto use = [](void (*useService)(kova::IKovaApi& service)) {
///         const auto device = kova::nats::connect("nats://broker:4222", "/device", "car-17");
///         if (device) {
///             useService(**device);
///         }
///     };
KOVA_NATS_API kit::Result<std::unique_ptr<IKovaApi>> connect(const std::string& url,
                                                             const std::string& servicePath,
                                                             const std::string& instance = {},
                                                             const ConnectOptions& options = {});

}  // namespace kova::nats
