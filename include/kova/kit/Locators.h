#pragma once

#include <string>

#include "kova/kit/Export.h"
#include "kova/kit/Result.h"

namespace kova::kit {

/// Returns the locator of a resource of a service, as a URI. Both paths become absolute.
///
///     kova::kit::locatorOf("/device", "/system");  // "kova:/device$/system"
KOVA_KIT_API std::string locatorOf(const std::string& servicePath, const std::string& resourcePath);

/// Returns the resource path that a user has entered for the service with the path `servicePath`.
/// `text` is either a resource path, which is returned unchanged, or a locator, from which the
/// resource path is taken. A text is a locator if it has a ":" before its first "/". Fails with 400
/// if a locator is malformed or names another service.
///
///     kova::kit::pathOf("kova:/device$/system/load", "/device").value();  // "/system/load"
///     kova::kit::pathOf("/system/load", "/device").value();               // "/system/load"
KOVA_KIT_API Result<std::string> pathOf(const std::string& text, const std::string& servicePath);

}  // namespace kova::kit
