#include "Address.h"

#include <optional>

#include "kova/core/Path.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/url.h"

namespace device {

namespace {

using kova::ResourceLocator;

std::string normalized(const std::string& servicePath) {
    return kova::Path(kova::Path::absolute(servicePath)).toString();
}

bool hasScheme(const std::string& text) {
    const std::size_t delimiter = text.find_first_of(":/");
    return delimiter != std::string::npos && text[delimiter] == ':';
}

}  // namespace

Address::Address(const std::string& servicePath) : servicePath_(normalized(servicePath)) {}

std::string Address::locatorOf(const std::string& resourcePath) const {
    return ResourceLocator::fromPaths(servicePath_, resourcePath).toUri().toString();
}

bool Address::read(const std::string& text, std::string& path, std::string& reason) const {
    if (!hasScheme(text)) {
        path = text;
        return false;
    }
    const kova::url uri(text);
    const std::optional<ResourceLocator> locator = ResourceLocator::fromUri(uri);
    const std::string example = ", as " + locatorOf("/system") + " is";
    if (!locator) {
        reason = "'" + text + "' is no locator: its scheme is not " +
                 kova::locators::KOVA_URI_SCHEME + ":";
    } else if (!ResourceLocator::isResourceLocator(uri) || !uri.isWellFormed()) {
        reason = "'" + text + "' is malformed: a locator is a scheme and two paths" + example;
    } else if (!locator->getServicePath()) {
        reason = "'" + text + "' does not say which service: a '$' ends its path" + example;
    } else if (normalized(*locator->getServicePath()) != servicePath_) {
        reason = "'" + text + "' leads to the service " + *locator->getServicePath() +
                 ", and this one is " + servicePath_;
    } else {
        path = locator->getResourcePath();
        return false;
    }
    return true;
}

}  // namespace device
