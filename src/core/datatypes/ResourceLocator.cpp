#include "kova/core/ResourceLocator.h"

#include <algorithm>
#include <utility>

#include "kova/core/Path.h"

namespace kova {

namespace {

/// The separator between the service path and the resource path.
constexpr char SERVICE_END = '$';

// Returns the position where the instance in a service path begins, or npos if the service path has
// no instance.
std::size_t findInstance(const std::string& servicePath) {
    return servicePath.find(Path::SEP_CHAR, Path::isAbsolute(servicePath) ? 1 : 0);
}

// Returns the parts `from` to `to` of the path, or an empty text if one of these parts does not
// exist.
std::string partsOf(const std::string& path, unsigned long from, unsigned long to) {
    std::string parts;
    const bool failed = Path::subpath(path, from, to, parts);
    return failed ? std::string() : parts;
}

}  // namespace

ResourceLocator::ResourceLocator(std::optional<std::string>&& servicePath,
                                 std::string&& resourcePath) noexcept
    : servicePath_(std::move(servicePath)), resourcePath_(std::move(resourcePath)) {}

ResourceLocator& ResourceLocator::operator=(ResourceLocator&& other) noexcept {
    if (this != &other) {
        servicePath_ = std::move(other.servicePath_);
        resourcePath_ = std::move(other.resourcePath_);
    }
    return *this;
}

ResourceLocator ResourceLocator::fromPaths(const std::string& base, const std::string& resource) {
    return {Path::absolute(base), Path::absolute(resource)};
}

ResourceLocator ResourceLocator::fromPaths(const std::string& base, const std::string& resource,
                                           const std::string& subresource) {
    return fromPaths(base, Path::join(resource, subresource));
}

ResourceLocator ResourceLocator::fromPathsWithInstance(const std::string& base,
                                                       const std::string& instance,
                                                       const std::string& resource) {
    return fromPaths(Path::join(base, instance), resource);
}

ResourceLocator ResourceLocator::fromPathsWithInstance(const std::string& base,
                                                       const std::string& instance,
                                                       const std::string& resource,
                                                       const std::string& subresource) {
    return fromPaths(Path::join(base, instance), resource, subresource);
}

std::optional<ResourceLocator> ResourceLocator::fromUri(const url& uri) {
    if (uri.scheme() != locators::KOVA_URI_SCHEME) {
        return std::nullopt;
    }
    std::string path = uri.path();
    const std::size_t end = path.find(SERVICE_END);
    if (end == std::string::npos) {
        return ResourceLocator(std::nullopt, std::move(path));
    }
    return fromPaths(path.substr(0, end), path.substr(end + 1));
}

bool ResourceLocator::isResourceLocator(const url& uri) {
    return uri.scheme() == locators::KOVA_URI_SCHEME && uri.isPathOnlyUrl() &&
           !uri.path().empty() && uri.fragment().empty() && uri.query().empty();
}

std::optional<std::string> ResourceLocator::extractServiceInstance(const url& uri) {
    const std::optional<ResourceLocator> locator = fromUri(uri);
    return locator ? locator->getServiceInstance() : std::nullopt;
}

std::string ResourceLocator::toString() const {
    return servicePath_ ? *servicePath_ + SERVICE_END + resourcePath_ : resourcePath_;
}

url ResourceLocator::toUri() const {
    return url(std::string(locators::KOVA_URI_SCHEME) + ':' + toString());
}

std::optional<std::string> ResourceLocator::getServiceBasePath() const {
    if (!servicePath_) {
        return std::nullopt;
    }
    return servicePath_->substr(0, findInstance(*servicePath_));
}

std::optional<std::string> ResourceLocator::getServiceInstance() const {
    const std::size_t start = servicePath_ ? findInstance(*servicePath_) : std::string::npos;
    if (start == std::string::npos) {
        return std::nullopt;
    }
    std::string instance = servicePath_->substr(start);
    if (instance.size() >= 2 && instance.back() == Path::SEP_CHAR) {
        instance.pop_back();
    }
    return instance;
}

std::string ResourceLocator::getResourcePrefix(unsigned long n) const {
    const unsigned long count = std::min(n, Path::numparts(resourcePath_));
    // If `count` is 0, the last index is Path::NPOS, which selects all parts.
    return Path::absolute(partsOf(resourcePath_, 0, count - 1));
}

std::string ResourceLocator::getElementId(unsigned long n) const {
    const unsigned long count = Path::numparts(resourcePath_);
    return partsOf(resourcePath_, count - std::min(count, n), Path::NPOS);
}

namespace locators {

url toUri(const std::string& base, const std::string& resource) {
    return ResourceLocator::fromPaths(base, resource).toUri();
}

url toUri(const std::string& base, const std::string& resource, const std::string& subresource) {
    return ResourceLocator::fromPaths(base, resource, subresource).toUri();
}

url toUriWithInstance(const std::string& base, const std::string& instance,
                      const std::string& resource) {
    return ResourceLocator::fromPathsWithInstance(base, instance, resource).toUri();
}

url toUriWithInstance(const std::string& base, const std::string& instance,
                      const std::string& resource, const std::string& subresource) {
    return ResourceLocator::fromPathsWithInstance(base, instance, resource, subresource).toUri();
}

}  // namespace locators

}  // namespace kova
