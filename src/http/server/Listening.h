#pragma once

#include <map>
#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"
#include "kova/http/Endpoint.h"
#include "server/Listener.h"

namespace kova::http::detail {

/// What an endpoint serves, and where.
struct Listening {
    /// The services, by service path. If the address has the form "kova:PATH", the only service has
    /// this path.
    std::map<std::string, IKovaApi*> services;
    std::unique_ptr<ListeningSocket> socket;
};

/// Begins to listen at the address of an endpoint. Throws as the constructors of `Endpoint` do.
Listening listen(const std::map<std::string, IKovaApi*>& services, const std::string& address,
                 const EndpointOptions& options);

}  // namespace kova::http::detail
