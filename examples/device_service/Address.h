#pragma once

#include <string>

namespace device {

/// Reads what a user writes where a path is wanted, and writes locators, for one service.
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

    /// The locator of a resource of the service, as a URI.
    std::string locatorOf(const std::string& resourcePath) const;

    /// Reads a path, which stands for itself, or a locator; a locator is what has a ":" before its
    /// first "/". False on success; true, with the reason in place of the path, for a locator that
    /// is malformed or leads to another service.
    [[nodiscard]] bool read(const std::string& text, std::string& path, std::string& reason) const;

private:
    const std::string servicePath_;
};

}  // namespace device
