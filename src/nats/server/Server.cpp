#include "kova/nats/Server.h"

#include "nats/server/ServerState.h"

namespace kova::nats {

Server::Server(IKovaApi& service, const std::string& url, const ServerOptions& options)
    : state_(detail::ServerState::start(service, url, options)) {}

Server::~Server() {
    state_->stop(std::nullopt);
    state_->end();
}

kit::Result<void> Server::waitUntilServing(std::chrono::milliseconds limit) const {
    return state_->waitUntilServing(limit);
}

std::vector<kit::CallInfo> Server::stop(std::chrono::milliseconds limit) {
    return state_->stop(limit);
}

}  // namespace kova::nats
