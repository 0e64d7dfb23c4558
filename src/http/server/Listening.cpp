#include "server/Listening.h"

#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "UnixSocket.h"
#include "directory/Registration.h"
#include "directory/ServiceName.h"
#include "kova/http/Directory.h"
#include "server/Activation.h"

namespace kova::http::detail {

namespace {

using Services = std::map<std::string, IKovaApi*>;

constexpr std::string_view REGISTERED = "kova:";
constexpr std::string_view ACTIVATED = "systemd:";

[[noreturn]] void refuse(const std::string& address, const std::string& reason) {
    throw std::invalid_argument("address '" + address + "': " + reason);
}

bool startsWith(std::string_view text, std::string_view begin) noexcept {
    return text.substr(0, begin.size()) == begin;
}

// Returns the services by the paths under which they are registered.
Services nameServices(const Services& services, const std::string& address) {
    const std::string path = address.substr(REGISTERED.size());
    const bool isUnnamed = services.size() == 1 && services.begin()->first.empty();
    if (isUnnamed == path.empty()) {
        refuse(address, isUnnamed ? "a service path follows, as in 'kova:/device'"
                                  : "the services have paths already, so none follows");
    }
    Services named = isUnnamed ? Services{{path, services.begin()->second}} : services;
    for (const auto& [name, service] : named) {
        if (!isServicePath(name)) {
            refuse(address,
                   "the service path '" + name +
                       "' does not begin with '/', or has an empty part or one of $ ? # [");
        }
    }
    return named;
}

std::string directoryOf(const EndpointOptions& options) {
    if (!options.directory.empty()) {
        return options.directory;
    }
    return socketDirectories().front();
}

Listening listenRegistered(const Services& services, const std::string& address,
                           const EndpointOptions& options) {
    Listening result{nameServices(services, address), nullptr};
    std::vector<std::string> paths;
    for (const auto& [path, service] : result.services) {
        paths.push_back(path);
    }
    result.socket = std::make_unique<Registration>(directoryOf(options), paths, options.mode);
    return result;
}

void checkLocal(const Address& address, const EndpointOptions& options) {
    if (!address.isLocal() && !options.allowsRemote) {
        refuse(address.toString(), "other machines reach it; set allowsRemote to serve them");
    }
}

}  // namespace

Listening listen(const Services& services, const std::string& address,
                 const EndpointOptions& options) {
    if (services.empty()) {
        throw std::invalid_argument("an endpoint needs a service");
    }
    if (startsWith(address, REGISTERED)) {
        return listenRegistered(services, address, options);
    }
    if (startsWith(address, ACTIVATED)) {
        auto socket = std::make_unique<ActivatedSocket>(address.substr(ACTIVATED.size()));
        checkLocal(socket->address(), options);
        return {services, std::move(socket)};
    }
    const kit::Result<Address> parsed = Address::parse(address);
    if (!parsed) {
        throw std::invalid_argument(parsed.error().message);
    }
    checkLocal(*parsed, options);
    return {services, std::make_unique<Listener>(*parsed, options.mode)};
}

}  // namespace kova::http::detail
