#pragma once

#include <string>

#include "kova/kit/Result.h"

namespace device {

/// Parses addresses that a user enters (paths or locators) and creates locators, for one service.
///
///     const device::Address addresses("/device");
///     addresses.locatorOf("/system");  // "kova:/device$/system"
///     addresses.read("kova:/device$/system/load").orThrow();  // "/system/load"
class Address {
public:
    /// `servicePath` names the service in locators.
    explicit Address(const std::string& servicePath);

    const std::string& servicePath() const { return servicePath_; }

    /// Returns the locator of a resource of the service, as a URI.
    std::string locatorOf(const std::string& resourcePath) const;

    /// Returns the path of a path or a locator. A text is a locator if it has a ":" before its
    /// first
    /// "/". Fails if a locator is malformed or names another service.
    kova::kit::Result<std::string> read(const std::string& text) const;

private:
    const std::string servicePath_;
};

}  // namespace device
