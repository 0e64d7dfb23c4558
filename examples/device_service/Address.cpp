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

kova::kit::Result<std::string> Address::read(const std::string& text) const {
    if (!hasScheme(text)) {
        return text;
    }
    const kova::url uri(text);
    const std::optional<ResourceLocator> locator = ResourceLocator::fromUri(uri);
    const std::string example = ", as " + locatorOf("/system") + " is";
    std::string reason = "'" + text + "' ";
    if (!locator) {
        reason += std::string("is no locator: its scheme is not ") +
                  kova::locators::KOVA_URI_SCHEME + ":";
    } else if (!ResourceLocator::isResourceLocator(uri) || !uri.isWellFormed()) {
        reason += "is malformed: a locator is a scheme and two paths" + example;
    } else if (!locator->getServicePath()) {
        reason += "does not say which service: a '$' ends its path" + example;
    } else if (normalized(*locator->getServicePath()) != servicePath_) {
        reason += "leads to the service " + *locator->getServicePath() + ", and this one is " +
                  servicePath_;
    } else {
        return locator->getResourcePath();
    }
    return kova::kit::Error{kova::statuscodes::BAD_REQUEST, reason};
}

}  // namespace device
