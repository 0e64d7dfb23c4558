#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "kova/kit/Answer.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Command.h"
#include "kova/kit/Export.h"
#include "kova/kit/Job.h"
#include "kova/kit/Mountable.h"
#include "kova/kit/Reply.h"
#include "kova/kit/Worker.h"
#include "kova/kit/resources/Route.h"

namespace kova::kit {

namespace detail {
class Streaming;
}

/// Serves requests with functions, which are selected by the command and the path below the mount
/// path.
///
///     kova::kit::Resource levels;
///     levels.on(kova::kit::command::retrieve, "{zone:uint}",
///               [](const kova::kit::Ask& ask, unsigned zone) -> kova::kit::Result<int> {
///                   if (zone > 3) return kova::kit::notFound(ask);
///                   return 30;
///               });
///
/// A template of a path consists of segments between "/": literal text, `{name:uint}` and
/// `{name:int}` for numbers of up to 64 bits, `{name}` for any text, and `{name:rest}` at the end
/// for one or more segments. The template "" is the mount path itself. If several templates match a
/// path, the leftmost segment in which they differ decides: literal text is preferred, then
/// numbers (uint before int), then any text, then the rest.
///
/// The parameters of a function are `const Ask&`, one for each parameter of the template in order,
/// at most one body, and at most one `Reply`. An integer type or `std::string` or
/// `std::string_view` receives a parameter of the template; a number that does not fit is answered
/// with 404. A body is any type that `fromPayload` reads; one that it refuses is answered with 400
/// and the reason.
///
/// The result of a function is the answer: a value (200), `created(value)` (201), an `Answered`, a
/// `Response`, a `Payload`, an `Error`, or a `Result` of a value. `void` and `done()` complete the
/// request without a value. Values have the format of the header entry "$accept", JSON without one.
/// A function with a `Reply` answers through it, at once or later. An exception is reported and
/// answered with 500, a `KovaException` with its response.
///
/// A path without a function is answered with 404, and a command without a function with 400. The
/// error lists the existing paths or commands. Functions run on the threads that send requests,
/// several at a time, without a lock. Functions with a worker run on the threads of the worker.
class KOVA_KIT_API Resource : public Mountable {
public:
    Resource();
    /// Refuses new requests, ends pending ones with 503 and waits until no function runs.
    ~Resource();

    /// Adds a function. Throws `std::invalid_argument` if the template is malformed, if the
    /// parameters of the function do not match it, or if another function has the same command and
    /// a template that matches the same paths with the same rank; the message names the templates.
    /// Throws `std::logic_error` if the resource has served a request.
    template <typename F>
    Resource& on(std::string_view command, std::string_view path, F function) {
        add(detail::makeRoute<Ask>(command, path, std::move(function)));
        return *this;
    }
    /// Adds a function that runs on a worker, with `Job&` in place of `const Ask&`. If the worker
    /// is full or stops, the request is answered with 503.
    template <typename F>
    Resource& on(std::string_view command, std::string_view path, const Worker& worker,
                 F function) {
        detail::Route route = detail::makeRoute<Job>(command, path, std::move(function));
        route.executor = worker;
        add(std::move(route));
        return *this;
    }

    /// Serves a path, which has no parameters, with an `Observable` or another stream: "retrieve"
    /// once or as a stream of values, "update" if the stream is writable, and the elements of a
    /// list or map below the path. Throws as `on` does; the stream serves every command, so any
    /// function for the same paths is ambiguous.
    ///
    /// The stream may be mounted elsewhere, too, and may be destroyed before or after the resource.
    /// Either destructor ends the streams that clients watch through this resource with 503. After
    /// that of the stream, the path is answered with 503, too; after that of the resource, the
    /// stream has no watchers from here. Only the destructor of the stream waits until no receiver
    /// of its values is running.
    Resource& mount(const std::string& path, const detail::Streaming& stream);

    /// Adds a route. Used only by the kit.
    void add(detail::Route&& route);
};

}  // namespace kova::kit
