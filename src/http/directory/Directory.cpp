#include "kova/http/Directory.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "directory/ServiceName.h"
#include "directory/SocketDirectory.h"
#include "kova/core/Path.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/url.h"

namespace kova::http {

namespace {

constexpr char const* OF_THE_SYSTEM = "/run/kova";
constexpr std::size_t NAMED_SERVICES = 8;
constexpr std::chrono::milliseconds SEARCH_INTERVAL(10);
// The longest wait; a longer one would overflow the numbers of the clock.
constexpr std::chrono::milliseconds LONGEST_PATIENCE = std::chrono::hours(24 * 365);

std::string variable(char const* name) {
    char const* const value = ::secure_getenv(name);
    return value == nullptr ? std::string() : value;
}

kit::Result<ResourceLocator> parse(const std::string& text) {
    const url uri(text);
    const std::optional<ResourceLocator> locator = ResourceLocator::fromUri(uri);
    char const* reason = nullptr;
    if (!locator || !ResourceLocator::isResourceLocator(uri) || !uri.isWellFormed()) {
        reason = "it has the form kova:/SERVICE$/RESOURCE";
    } else if (!locator->getServicePath()) {
        reason = "a '$' ends the path of the service";
    } else if (!detail::isServicePath(Path(*locator->getServicePath()).toString())) {
        reason = "it names no service";
    } else {
        return *locator;
    }
    return kit::Error{statuscodes::BAD_REQUEST, "locator '" + text + "': " + reason};
}

// Returns the services that a user can choose from, as the end of the text of an error.
std::string offer(const std::vector<std::string>& directories) {
    const std::vector<Registered> services = registeredServices(directories);
    std::string text;
    for (std::size_t i = 0; i < services.size() && i < NAMED_SERVICES; ++i) {
        text += (i == 0 ? "; there is " : ", ") + services[i].servicePath;
    }
    return services.size() > NAMED_SERVICES ? text + ", ..." : text;
}

// Returns the path of the socket. An error of another kind than "not found" tells a user more, so
// it is the one that is returned.
kit::Result<std::string> find(const std::string& servicePath,
                              const std::vector<std::string>& directories) {
    std::string searched;
    std::optional<kit::Error> failure;
    for (const std::string& path : directories) {
        const auto directory = detail::SocketDirectory::open(path);
        kit::Result<std::string> found =
            directory ? directory->find(servicePath) : directory.error();
        if (found) {
            return found;
        }
        if (!failure && found.error().code != statuscodes::NOT_FOUND) {
            failure = found.error();
        }
        searched += (searched.empty() ? "" : " and ") + path;
    }
    return failure.value_or(kit::Error{
        statuscodes::NOT_FOUND,
        "no service '" + servicePath + "' is registered in " + searched + offer(directories)});
}

// Searches again until there is a socket, the time has passed, or waiting cannot change the error.
kit::Result<std::string> await(const std::string& servicePath,
                               const std::vector<std::string>& directories,
                               std::chrono::milliseconds patience) {
    const auto begin = std::chrono::steady_clock::now();
    const std::chrono::milliseconds limit = std::min(patience, LONGEST_PATIENCE);
    kit::Result<std::string> found = find(servicePath, directories);
    while (!found && found.error().code != statuscodes::FORBIDDEN &&
           std::chrono::steady_clock::now() - begin < limit) {
        std::this_thread::sleep_for(SEARCH_INTERVAL);
        found = find(servicePath, directories);
    }
    return found;
}

}  // namespace

std::vector<std::string> socketDirectories() {
    if (const std::string chosen = variable("KOVA_RUNTIME_DIR"); !chosen.empty()) {
        return {chosen};
    }
    const std::string ofUser = variable("XDG_RUNTIME_DIR");
    if (::geteuid() == 0 || ofUser.empty() || ofUser.front() != '/') {
        return {OF_THE_SYSTEM};
    }
    return {ofUser + "/kova", OF_THE_SYSTEM};
}

std::vector<Registered> registeredServices(const std::vector<std::string>& directories) {
    std::map<std::string, std::string> found;
    for (const std::string& path : directories.empty() ? socketDirectories() : directories) {
        const auto directory = detail::SocketDirectory::open(path);
        for (const std::string& service :
             directory ? directory->services() : std::vector<std::string>()) {
            found.emplace(service, "unix:" + directory->pathOf(detail::toFileName(service)));
        }
    }
    std::vector<Registered> services;
    services.reserve(found.size());
    for (auto& [service, address] : found) {
        services.push_back({service, std::move(address)});
    }
    return services;
}

kit::Result<Opened> open(const std::string& locator, const OpenOptions& options) {
    const kit::Result<ResourceLocator> parsed = parse(locator);
    if (!parsed) {
        return parsed.error();
    }
    Opened opened;
    opened.servicePath = Path(*parsed->getServicePath()).toString();
    opened.path = parsed->getResourcePath();
    const kit::Result<std::string> socket = await(
        opened.servicePath, options.directories.empty() ? socketDirectories() : options.directories,
        options.patience);
    if (!socket) {
        return socket.error();
    }
    opened.address = "unix:" + *socket;
    ConnectOptions connection = options.connection;
    connection.servicePath = opened.servicePath;
    connection.onlyTrusted = true;
    kit::Result<std::unique_ptr<IKovaApi>> service = connect(opened.address, connection);
    if (!service) {
        return service.error();
    }
    opened.service = *std::move(service);
    return opened;
}

}  // namespace kova::http
