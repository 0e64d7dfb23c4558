#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "kova/core/Payload.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"

/// The values that a service shows at "/.kova" (`Inspection.h`), for programs that read them.
///
///     const auto isSlow = [](const kova::Payload& pending) {
///         using Pending = std::vector<kova::kit::PendingView>;
///         for (const kova::kit::PendingView& call :
///              kova::kit::fromPayload<Pending>(pending).orThrow()) {
///             if (call.age > std::chrono::seconds(2)) return true;
///         }
///         return false;
///     };
///
/// Plain value types. In texts, bytes that are not valid UTF-8 are replaced by U+FFFD.
namespace kova::kit {

/// An operation of a mount.
struct OperationView {
    /// The command word.
    std::string command;
    /// The path below the mount path, as a template such as "{id:uint}/name".
    std::string path;
    /// Whether the answer can be a stream of values.
    bool streams = false;
    /// The JSON Schemas of the request and the answer. The key "body" is for the body of the
    /// request, the key "value" is for the value of the answer. A schema that does not exist is
    /// left out.
    std::map<std::string, Payload> schemas;
};
KOVA_FIELDS(OperationView, command, path, streams, schemas)

/// A mount.
struct MountView {
    /// The mount path.
    std::string path;
    /// The operations of the mount. Empty if the mounted handler or service does not describe its
    /// operations.
    std::vector<OperationView> operations;
};
KOVA_FIELDS(MountView, path, operations)

/// A request that has not ended. A request that a worker serves has two entries: one for the
/// request, and one for the job on the thread of the worker.
struct PendingView {
    /// The path of the request.
    std::string path;
    /// The command word.
    std::string command;
    /// The header entry "$client-id", which can be any text that the client chooses. "" if the
    /// entry is missing.
    std::string client;
    /// The time since the request was sent or, for a job, since the job began to run. The
    /// resolution is about 4 ms.
    std::chrono::milliseconds age{0};
    /// The state of the request: "in the service", "pending", "in a callback" or "being cancelled".
    std::string phase;
    /// The thread number of the operating system for the thread that is busy with the request; 0 if
    /// no thread is.
    long thread = 0;
};
KOVA_FIELDS(PendingView, path, command, client, as("ageMs", count(age)), phase, thread)

/// A trace channel.
struct ChannelView {
    /// The name of the channel.
    std::string name;
    /// The lowest level of the messages that are written. With 7 the channel writes nothing.
    int level = 0;
};
KOVA_FIELDS(ChannelView, name, level)

/// The body of an update of "trace".
struct TraceLevel {
    /// The pattern for the names of the channels, with a length of 1 to 128 bytes. "*" matches any
    /// text.
    std::string pattern;
    /// The lowest level of the messages that are written, from 0 to 7. With 7 a channel writes
    /// nothing.
    int level = 0;
};
KOVA_FIELDS(TraceLevel, strict(), pattern, level)

/// The answer to an update of "trace".
struct TraceChange {
    /// The number of existing channels that match the pattern. Channels that are created later and
    /// match the pattern also get the level.
    unsigned channels = 0;
};
KOVA_FIELDS(TraceChange, channels)

/// The process of a service.
struct VersionView {
    /// The name of the service.
    std::string name;
    /// The version of the service.
    std::string version;
    /// The version of kova.
    std::string kova;
    /// The time since the service was built.
    std::chrono::milliseconds uptime{0};
    /// The number of the process.
    long pid = 0;
};
KOVA_FIELDS(VersionView, name, version, kova, as("uptimeMs", count(uptime)), pid)

}  // namespace kova::kit
