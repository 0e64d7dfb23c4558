#include "nats/ConnectionSetup.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kova::nats::detail {

namespace {

// A connection that does not answer two pings is lost.
constexpr int MOST_PINGS = 2;

natsOptions* makeOptions(natsStatus& status) noexcept {
    natsOptions* made = nullptr;
    status = natsOptions_Create(&made);
    return made;
}

}  // namespace

ConnectionSetup::ConnectionSetup() : options_(makeOptions(status_)) {}

void ConnectionSetup::addServers(const Urls& urls) {
    std::vector<char const*> texts;
    for (const std::string& url : urls.all) {
        texts.push_back(url.c_str());
    }
    set(natsOptions_SetServers, texts.data(), static_cast<int>(texts.size()));
}

void ConnectionSetup::addLogin(const BrokerOptions& broker) {
    if (!broker.user.empty()) {
        set(natsOptions_SetUserInfo, broker.user.c_str(), broker.password.c_str());
    }
    if (!broker.token.empty()) {
        set(natsOptions_SetToken, broker.token.c_str());
    }
    if (!broker.nkey.empty()) {
        set(natsOptions_SetNKeyFromSeed, broker.nkey.c_str(), broker.nkeySeedFile.c_str());
    }
    if (!broker.credentialsFile.empty()) {
        set(natsOptions_SetUserCredentialsFromFiles, broker.credentialsFile.c_str(),
            static_cast<char const*>(nullptr));  // one file contains both parts
    }
}

void ConnectionSetup::addTls(const BrokerOptions& broker, bool isRequired) {
    if (isRequired || !broker.caFile.empty() || !broker.certificateFile.empty()) {
        set(natsOptions_SetSecure, true);
        usesTls_ = true;
    }
    if (!broker.caFile.empty()) {
        set(natsOptions_LoadCATrustedCertificates, broker.caFile.c_str());
    }
    if (!broker.certificateFile.empty()) {
        set(natsOptions_LoadCertificatesChain, broker.certificateFile.c_str(),
            broker.keyFile.c_str());
    }
}

// A connection that is lost is not repaired, because libnats would send what was published
// meanwhile after its caller has been told that it is lost.
void ConnectionSetup::addBehaviour(const BrokerOptions& broker) {
    const auto limit = static_cast<std::int64_t>(broker.connectLimit.count());
    const auto heartbeat = static_cast<std::int64_t>(broker.heartbeat.count());
    set(natsOptions_SetAllowReconnect, false);
    set(natsOptions_SetSendAsap, true);
    set(natsOptions_UseGlobalMessageDelivery, true);
    set(natsOptions_SetTimeout, limit);
    set(natsOptions_SetPingInterval, heartbeat);
    set(natsOptions_SetMaxPingsOut, MOST_PINGS);
    set(natsOptions_SetWriteDeadline, heartbeat);
}

}  // namespace kova::nats::detail
