#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"
#include "kova/http/Export.h"
#include "kova/kit/Result.h"

namespace kova::http {

/// Options of `connect`.
struct ConnectOptions {
    /// The service path of the service ("/device"), if the endpoint serves several.
    std::string servicePath;
    /// The longest time that a request waits for a connection. The request then ends with 503.
    std::chrono::milliseconds patience = std::chrono::seconds(1);
    /// The bytes of an answer that the server may send before the response handler has received
    /// the values in them. While a response handler blocks, the server stops at this number.
    std::size_t queuedBytes = std::size_t{256} * 1024;
    /// The longest value or error of an answer, with its header. A longer one ends the request with
    /// 502.
    std::size_t recordBytes = std::size_t{64} * 1024 * 1024;
    /// Accepts only a Unix socket at which a process of root or of this user listens. Any other
    /// server counts as one that cannot be reached.
    bool onlyTrusted = false;
    /// Sends a retrieval again, at most three times, if its connection is lost before its first
    /// value has arrived. No other command is ever sent again.
    bool retriesRetrievals = false;
    /// Subscribes again if the connection of a stream is lost. A stream is a retrieval that asks
    /// for one (`headers::PERSISTENT_STREAM`), or whose last value has the status 299. The service
    /// then sends a fresh snapshot. The stream waits for a connection without a limit. Changes that
    /// happen meanwhile are not sent, and nothing tells the response handler of the gap.
    bool resubscribes = false;
};

/// Returns a service that is served at an address (`Address`) by the `Endpoint` of another process.
/// Returns the error 400 if the address or the service path is malformed, and 503 if the system
/// refuses a thread. Does not wait for a connection: the first request starts it.
///
/// The object is used as the service itself: response handlers get the same values, errors and
/// completions, in the same order. They are called on one thread of the object, so a response
/// handler that blocks delays the answers of all its requests. A request ends with the error
///
/// - 503 "lost: ..." if its connection is lost, or if it has waited for a connection for
///   `ConnectOptions::patience`; callers that use `kova::kit` get the end "lost",
/// - 502 "malformed answer: ..." if the server does not follow the protocol (`docs/wire.md`),
/// - of the endpoint, if the endpoint refuses it.
///
/// The object survives restarts of the server: it connects again for the next request. The delay
/// between two attempts grows to at most a second, and is shortened by a random part of up to a
/// half. A lost request is not repeated by default, because the service may have received it.
///
/// If the server limits the number of pending requests, further requests wait until others have
/// ended. A server that does not answer for 15 s while requests are pending counts as lost: the
/// object sends a PING after 10 s without bytes, and waits 5 s for its answer.
///
/// Any thread may call the functions of the object, also from inside a response handler. Its
/// destructor cancels the pending requests, and waits for a response handler that is being called,
/// unless the destructor is called from inside that handler.
///
///     const auto use = [](void (*useService)(kova::IKovaApi& service)) {
///         const auto player = kova::http::connect("unix:/run/kova/player.sock");
///         if (player) {
///             useService(**player);
///         }
///     };
KOVA_HTTP_API kit::Result<std::unique_ptr<IKovaApi>> connect(const std::string& address,
                                                             const ConnectOptions& options = {});

}  // namespace kova::http
