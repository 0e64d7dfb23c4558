#include "kova/http/Endpoint.h"

#include "server/EndpointState.h"

namespace kova::http {

Endpoint::Endpoint(IKovaApi& service, const std::string& address, const EndpointOptions& options)
    : Endpoint(std::map<std::string, IKovaApi*>{{std::string(), &service}}, address, options) {}

Endpoint::Endpoint(const std::map<std::string, IKovaApi*>& services, const std::string& address,
                   const EndpointOptions& options)
    : state_(detail::EndpointState::start(services, address, options)) {}

Endpoint::~Endpoint() {
    state_->stop(std::nullopt);
    state_->end();
}

std::string Endpoint::address() const {
    return state_->address();
}

std::vector<kit::CallInfo> Endpoint::stop(std::chrono::milliseconds limit) {
    return state_->stop(limit);
}

std::size_t Endpoint::connections() const {
    return state_->connections();
}

}  // namespace kova::http
