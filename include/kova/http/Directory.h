#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/http/Connect.h"
#include "kova/http/Export.h"
#include "kova/kit/Result.h"

namespace kova::http {

/// A service of this machine, as `registeredServices` finds it.
struct Registered {
    /// The path of the service, as locators have it: "/device".
    std::string servicePath;
    /// The address of its socket (`Address`): "unix:/run/kova/device".
    std::string address;
};

/// Returns the directories in which the services of this machine register, in the order in which
/// `open` searches them. An `Endpoint` with an address of the form "kova:" registers its services
/// in the first one.
///
/// - If the environment variable KOVA_RUNTIME_DIR is set, only the directory that it names.
/// - For root: "/run/kova".
/// - For other users: "$XDG_RUNTIME_DIR/kova" if that variable is an absolute path, then
///   "/run/kova". A user other than root cannot register there.
///
/// Both variables are ignored in a program with the set-user-ID bit. Any thread may call the
/// functions of this header, but not while a thread changes the environment.
///
///     const auto use = [](void (*show)(const std::string& path, kova::IKovaApi& service)) {
///         for (const auto& found : kova::http::registeredServices()) {
///             const auto root = kova::http::open("kova:" + found.servicePath + "$/");
///             if (root) {
///                 show(root->path, *root->service);  // "/"
///             }
///         }
///     };
KOVA_HTTP_API std::vector<std::string> socketDirectories();

/// Returns the services that `open` finds in the directories, in ascending order of their paths. An
/// empty list of directories means `socketDirectories`. If two directories have the same service,
/// the first one counts. Does not connect: a service whose process has died is in the list until
/// another process replaces it. Reads at most 4096 names of a directory. Services whose directory
/// or socket `open` would not trust are left out.
KOVA_HTTP_API std::vector<Registered> registeredServices(
    const std::vector<std::string>& directories = {});

/// Options of `open`.
struct OpenOptions {
    /// The directories to search; if empty, `socketDirectories`.
    std::vector<std::string> directories;
    /// The time for which `open` waits until a process serves the service. By default it does not
    /// wait.
    std::chrono::milliseconds patience{0};
    /// Options of the connection. `servicePath` and `onlyTrusted` are set by `open`.
    ConnectOptions connection;
};

/// A service, and the path of one of its resources.
struct Opened {
    /// The service, as `connect` returns it.
    std::unique_ptr<IKovaApi> service;
    /// The path of the resource inside the service: "/system/memory".
    std::string path;
    /// The path of the service: "/device".
    std::string servicePath;
    /// The address of its socket.
    std::string address;
};

/// Returns the service that a locator names, and the path of its resource. The service is one that
/// an `Endpoint` with an address of the form "kova:" has registered on this machine.
///
/// Trusts a directory that belongs to root or to the user of this process, and in which no other
/// user may write, unless the directory is sticky. Trusts a socket whose file belongs to root or to
/// that user, and at which a process of root or that user listens; this is checked for each
/// connection. Symbolic links are not followed. Returns the error
///
/// - 400 if the locator is malformed or names no service,
/// - 403 if the directory or the socket is not trusted, or this process may not connect,
/// - 404 if no directory has the service; the text names the searched directories and services that
///   they have,
/// - 503 if no process serves the socket any more.
///
/// The errors 404 and 503 are returned after `OpenOptions::patience`.
KOVA_HTTP_API kit::Result<Opened> open(const std::string& locator, const OpenOptions& options = {});

}  // namespace kova::http
