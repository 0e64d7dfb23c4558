#include "kova/core/RequestInfo.h"

#include <utility>

#include "kova/core/headers.h"

namespace kova {

namespace {

// Returns the text of the entry, or an empty text if the entry is missing or not a string.
std::string textOf(const Request& request, char const* key) {
    std::string text;
    const bool none = request.getHeaderValue(key).get(text);
    return none ? std::string() : text;
}

}  // namespace

RequestInfo::RequestInfo(std::string command, std::string path, std::string servicePath,
                         std::string clientId) noexcept
    : command_(std::move(command)),
      path_(std::move(path)),
      servicePath_(std::move(servicePath)),
      clientId_(std::move(clientId)) {}

RequestInfo::RequestInfo(const Request& request)
    : command_(request.getCommand()),
      path_(request.getPath()),
      servicePath_(textOf(request, headers::SERVICE_PATH)),
      clientId_(textOf(request, headers::CLIENT_ID)) {}

RequestInfo& RequestInfo::operator=(RequestInfo&& other) noexcept {
    if (this != &other) {
        command_ = std::move(other.command_);
        path_ = std::move(other.path_);
        servicePath_ = std::move(other.servicePath_);
        clientId_ = std::move(other.clientId_);
    }
    return *this;
}

}  // namespace kova
