#include "server/ServerContext.h"

#include <optional>
#include <stdexcept>

#include "server/ServerConnection.h"

namespace kova::http::detail {

namespace {

std::optional<unsigned> hexDigit(char digit) noexcept {
    if (digit >= '0' && digit <= '9') {
        return static_cast<unsigned>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<unsigned>(digit - 'a') + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<unsigned>(digit - 'A') + 10;
    }
    return std::nullopt;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const auto high = text.size() - i > 2 ? hexDigit(text[i + 1]) : std::nullopt;
        const auto low = high ? hexDigit(text[i + 2]) : std::nullopt;
        if (!low) {
            return std::nullopt;
        }
        decoded += static_cast<char>(*high * 16 + *low);
        i += 2;
    }
    return decoded;
}

}  // namespace

std::string PeerLimit::keyOf(const kit::Peer& peer) {
    if (peer.address == "unix:") {
        return std::to_string(peer.uid);
    }
    return peer.address.substr(0, peer.address.rfind(':'));
}

bool PeerLimit::add(const std::string& key) {
    std::size_t& count = counts_[key];
    if (count < limit_) {
        ++count;
        return true;
    }
    if (count == 0) {
        counts_.erase(key);
    }
    return false;
}

void PeerLimit::remove(const std::string& key) noexcept {
    const auto found = counts_.find(key);
    if (found != counts_.end() && --found->second == 0) {
        counts_.erase(found);
    }
}

ServedServices::ServedServices(const std::map<std::string, IKovaApi*>& services) {
    if (services.empty()) {
        throw std::invalid_argument("an endpoint needs a service");
    }
    for (const auto& [path, service] : services) {
        if (service == nullptr) {
            throw std::invalid_argument("the service '" + path + "' is null");
        }
        services_[path] = std::make_unique<ServedService>(*service);
    }
}

ServedService* ServedServices::find(std::string_view path) const {
    if (path == "/" && services_.size() == 1) {
        return services_.begin()->second.get();
    }
    const std::optional<std::string> decoded = percentDecoded(path);
    const auto found = decoded ? services_.find(*decoded) : services_.end();
    return found == services_.end() ? nullptr : found->second.get();
}

void ServerContext::flush() {
    while (!unflushed.empty()) {
        ServerConnection* const connection = unflushed.back();
        unflushed.pop_back();
        connection->sendRecords();
    }
}

}  // namespace kova::http::detail
