#include "server/ServerContext.h"

#include <array>
#include <charconv>
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

// The key under which the requests of a peer are counted: its user, or its address without the
// port. Allocates no memory, because a request must be able to end without memory.
class PeerKey {
public:
    explicit PeerKey(const kit::Peer& peer) noexcept {
        if (peer.address == "unix:") {
            auto* const end = std::to_chars(digits_.begin(), digits_.end(), peer.uid).ptr;
            text_ = {digits_.data(), static_cast<std::size_t>(end - digits_.data())};
        } else {
            text_ = std::string_view(peer.address).substr(0, peer.address.rfind(':'));
        }
    }
    PeerKey(const PeerKey&) = delete;
    PeerKey& operator=(const PeerKey&) = delete;
    std::string_view text() const noexcept { return text_; }

private:
    std::array<char, 24> digits_{};
    std::string_view text_;
};

}  // namespace

bool PeerLimit::add(const kit::Peer& peer) {
    const PeerKey key(peer);
    const auto found = counts_.find(key.text());
    if ((found == counts_.end() ? 0 : found->second) >= limit_) {
        return false;
    }
    if (found == counts_.end()) {
        counts_.emplace(key.text(), 1);
    } else {
        ++found->second;
    }
    return true;
}

void PeerLimit::remove(const kit::Peer& peer) noexcept {
    const auto found = counts_.find(PeerKey(peer).text());
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
        services_[path] = std::make_unique<wire::ServedService>(*service);
    }
}

wire::ServedService* ServedServices::find(std::string_view path) const {
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
