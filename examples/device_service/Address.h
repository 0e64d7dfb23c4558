#pragma once

#include <string>

namespace device {

/// Parses addresses that a user enters (paths or locators) and creates locators, for one service.
///
///     const device::Address addresses("/device");
///     addresses.locatorOf("/system");  // "kova:/device$/system"
///     std::string path;
///     std::string reason;
///     if (addresses.read("kova:/device$/system/load", path, reason)) ...  // path: "/system/load"
class Address {
public:
    /// `servicePath` names the service in locators.
    explicit Address(const std::string& servicePath);

    const std::string& servicePath() const { return servicePath_; }

    /// Returns the locator of a resource of the service, as a URI.
    std::string locatorOf(const std::string& resourcePath) const;

    /// Parses a path, which is returned unchanged, or a locator. A text is a locator if it has a
    /// ":" before its first "/". Returns false on success. Returns true and sets `reason` if a
    /// locator is malformed or names another service; `path` is then unchanged.
    [[nodiscard]] bool read(const std::string& text, std::string& path, std::string& reason) const;

private:
    const std::string servicePath_;
};

}  // namespace device
