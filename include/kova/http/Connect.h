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
    /// The service path of the service, if the endpoint serves several.
    std::string servicePath;
    /// The time for which a request waits for a connection before it is lost.
    std::chrono::milliseconds patience = std::chrono::seconds(1);
    /// The bytes of the answer of a request that wait for a response handler that blocks. The
    /// server stops sending the answer then.
    std::size_t queuedBytes = 256U * 1024U;
};

/// Returns a service that is served at an address (`Address`) by the `Endpoint` of another process,
/// or the error 400 if the address is malformed. Does not wait for a connection: if there is none,
/// a request waits for it for `ConnectOptions::patience`, and is then answered with 503.
///
/// The object is used as the service itself: response handlers get the same values, errors and
/// completions, in the same order, on a thread of the object. A lost connection ends each pending
/// request with one error, 503 "lost". Any thread may call its functions, also from inside a
/// response handler. Its destructor cancels what is pending, and waits for a response handler that
/// is being called, unless it is destroyed from inside that handler.
///
///     auto player = kova::http::connect("unix:/run/kova/player.sock");
///     if (player) {
///         useService(**player);
///     }
KOVA_HTTP_API kit::Result<std::unique_ptr<IKovaApi>> connect(const std::string& address,
                                                             const ConnectOptions& options = {});

}  // namespace kova::http
