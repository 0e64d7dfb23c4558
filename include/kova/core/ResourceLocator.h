#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/url.h"

namespace kova {

/// Names one resource of one service in a single string: the service's path and the resource's path
/// inside the service.
///
/// It checks and escapes nothing: a path that holds a "$" does not survive the way through a text.
///
///     [servicePath "$"] resourcePath             text form: "/media/player2$/tracks/17"
///     "kova:" [servicePath "$"] resourcePath     URI form:  "kova:/media/player2$/tracks/17"
///
/// The first part of the service path is the base path of the service, everything behind it the
/// instance; both may be asked for, as may the last parts of the resource path, the element ids.
///
///     const auto locator =
///         kova::ResourceLocator::fromPathsWithInstance("media", "player2", "tracks", "17");
///     locator.getServiceBasePath();   // "/media"
///     locator.getServiceInstance();   // "/player2"
///     locator.getResourcePrefix(1);   // "/tracks"
///     locator.getElementId(1);        // "17"
///
/// A plain value: copies are independent, and objects are not locked.
class KOVA_API ResourceLocator {
public:
    /// Both as given. No service path: the locator does not say which service holds the resource.
    ResourceLocator(std::optional<std::string>&& servicePath, std::string&& resourcePath) noexcept;

    /// @{
    /// A copy is independent. Assigning a locator to itself changes nothing.
    ResourceLocator(const ResourceLocator&) = default;
    ResourceLocator(ResourceLocator&&) noexcept = default;
    ResourceLocator& operator=(const ResourceLocator&) = default;
    ResourceLocator& operator=(ResourceLocator&& other) noexcept;
    ~ResourceLocator() = default;
    /// @}

    /// @{
    /// The paths made absolute (`Path::absolute`); the sub-resource is joined behind the resource,
    /// the instance behind the base path (`Path::join`).
    static ResourceLocator fromPaths(const std::string& base, const std::string& resource);
    static ResourceLocator fromPaths(const std::string& base, const std::string& resource,
                                     const std::string& subresource);
    static ResourceLocator fromPathsWithInstance(const std::string& base,
                                                 const std::string& instance,
                                                 const std::string& resource);
    static ResourceLocator fromPathsWithInstance(const std::string& base,
                                                 const std::string& instance,
                                                 const std::string& resource,
                                                 const std::string& subresource);
    /// @}

    /// The locator whose URI form has this path; nothing for a foreign scheme. The first "$" ends
    /// the service path, and both paths are made absolute; without a "$" the whole path is that of
    /// the resource, as it stands. Authority, query and fragment are not looked at.
    static std::optional<ResourceLocator> fromUri(const url& uri);
    /// Whether the URI is nothing but a locator: of our scheme, with a path, without authority,
    /// query and fragment.
    static bool isResourceLocator(const url& uri);
    /// The service instance of the locator that the URI stands for.
    static std::optional<std::string> extractServiceInstance(const url& uri);

    /// The path of the service; nothing when the locator does not say which.
    const std::optional<std::string>& getServicePath() const noexcept { return servicePath_; }
    /// The path of the resource inside the service.
    const std::string& getResourcePath() const noexcept { return resourcePath_; }

    /// The text form.
    std::string toString() const;
    /// The URI form.
    url toUri() const;

    /// The service path up to its second "/", or to its first when it does not begin with one:
    /// "/media" of "/media/player2". Nothing without a service path.
    std::optional<std::string> getServiceBasePath() const;
    /// The service path behind the base path, with its leading "/" and without one trailing "/":
    /// "/a/b" of "/media/a/b/". Nothing when the base path is all there is.
    std::optional<std::string> getServiceInstance() const;

    /// The first `n` parts of the resource path, made absolute. All of them when `n` is 0 or more
    /// than there are; "/" when there are none.
    std::string getResourcePrefix(unsigned long n) const;
    /// The last `n` parts of the resource path, joined with "/", without a leading "/". All of them
    /// when `n` is more than there are; empty when `n` is 0 or there are none.
    std::string getElementId(unsigned long n) const;

private:
    std::optional<std::string> servicePath_;
    std::string resourcePath_;
};

/// The URIs of resources, made straight from paths.
namespace locators {

/// The scheme of the URIs of locators.
constexpr char const* KOVA_URI_SCHEME = "kova";

/// `ResourceLocator::fromPaths(…).toUri()`
KOVA_API url toUri(const std::string& base, const std::string& resource);
KOVA_API url toUri(const std::string& base, const std::string& resource,
                   const std::string& subresource);
/// `ResourceLocator::fromPathsWithInstance(…).toUri()`
KOVA_API url toUriWithInstance(const std::string& base, const std::string& instance,
                               const std::string& resource);
KOVA_API url toUriWithInstance(const std::string& base, const std::string& instance,
                               const std::string& resource, const std::string& subresource);

}  // namespace locators

}  // namespace kova
