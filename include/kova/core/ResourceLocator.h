#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/url.h"

namespace kova {

/// The address of one resource of one service in a single string: the path of the service and the
/// path of the resource inside the service.
///
/// It neither validates nor escapes: a path that contains a "$" changes when it is written to a
/// text and read back.
///
///     [servicePath "$"] resourcePath             text form: "/media/player2$/tracks/17"
///     "kova:" [servicePath "$"] resourcePath     URI form:  "kova:/media/player2$/tracks/17"
///
/// The first part of the service path is the base path of the service; the rest is the instance.
/// The last parts of the resource path are the element ids.
///
///     const auto locator =
///         kova::ResourceLocator::fromPathsWithInstance("media", "player2", "tracks", "17");
///     locator.getServiceBasePath();   // "/media"
///     locator.getServiceInstance();   // "/player2"
///     locator.getResourcePrefix(1);   // "/tracks"
///     locator.getElementId(1);        // "17"
///
/// Plain value type. Not synchronized. Returned references are valid until the locator is changed
/// or destroyed.
class KOVA_API ResourceLocator {
public:
    /// Stores both paths verbatim. A locator without a service path does not name the service that
    /// has the resource.
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
    /// Creates a locator from paths, which become absolute (`Path::absolute`). The instance is
    /// appended to the base path, the sub-resource to the resource (`Path::join`).
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

    /// Parses `uri` as the URI form of a locator. Returns nothing if `uri` has another scheme. The
    /// first "$" of the path ends the service path, and both paths become absolute. If the path has
    /// no "$", the whole path is the resource path, verbatim. Authority, query and fragment are
    /// ignored.
    static std::optional<ResourceLocator> fromUri(const url& uri);
    /// Returns whether `uri` has exactly the URI form of a locator: the scheme of locators and a
    /// path, but no authority, query or fragment.
    static bool isResourceLocator(const url& uri);
    /// Parses `uri` as a locator and returns its service instance (`getServiceInstance`). Returns
    /// nothing if `uri` has another scheme.
    static std::optional<std::string> extractServiceInstance(const url& uri);

    /// Returns the path of the service, or nothing when the locator has none.
    const std::optional<std::string>& getServicePath() const noexcept { return servicePath_; }
    /// Returns the path of the resource inside the service.
    const std::string& getResourcePath() const noexcept { return resourcePath_; }

    /// Returns the text form.
    std::string toString() const;
    /// Returns the URI form.
    url toUri() const;

    /// Returns the service path up to its first "/", not counting a leading one: "/media" for
    /// "/media/player2". Returns nothing when the locator has no service path.
    std::optional<std::string> getServiceBasePath() const;
    /// Returns the service path after the base path, with its leading "/" and without one trailing
    /// "/": "/a/b" for "/media/a/b/". Returns nothing when the locator has no service path, or when
    /// nothing follows the base path.
    std::optional<std::string> getServiceInstance() const;

    /// Returns the first `n` parts of the resource path, with a leading "/". Returns all parts when
    /// `n` is 0 or greater than their number, and "/" when the resource path has no parts.
    std::string getResourcePrefix(unsigned long n) const;
    /// Returns the last `n` parts of the resource path, joined with "/", without a leading "/".
    /// Returns all parts when `n` is greater than their number, and an empty text when `n` is 0 or
    /// the resource path has no parts.
    std::string getElementId(unsigned long n) const;

private:
    std::optional<std::string> servicePath_;
    std::string resourcePath_;
};

/// Functions that create the URIs of resources directly from paths.
namespace locators {

/// The scheme of the URI form of locators.
constexpr char const* KOVA_URI_SCHEME = "kova";

/// Returns `ResourceLocator::fromPaths(…).toUri()`.
KOVA_API url toUri(const std::string& base, const std::string& resource);
KOVA_API url toUri(const std::string& base, const std::string& resource,
                   const std::string& subresource);
/// Returns `ResourceLocator::fromPathsWithInstance(…).toUri()`.
KOVA_API url toUriWithInstance(const std::string& base, const std::string& instance,
                               const std::string& resource);
KOVA_API url toUriWithInstance(const std::string& base, const std::string& instance,
                               const std::string& resource, const std::string& subresource);

}  // namespace locators

}  // namespace kova
