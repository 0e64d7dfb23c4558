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

/// A mountable object that serves requests with functions. The command and the path below the mount
/// path select the function.
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
/// The parameters of a function are, in this order: `const Ask&`, one parameter for each parameter
/// of the template, at most one body, and at most one `Reply`. A parameter of the template is
/// received as an integer, a `std::string` or a `std::string_view`. If a number does not fit the
/// integer type, the request is answered with 404. The body can have any type that `fromPayload`
/// reads. If `fromPayload` fails, the request is answered with 400 and the reason.
///
/// The result of a function is the answer: a value (200), `created(value)` (201), an `Answered`, a
/// `Response`, a `Payload`, an `Error`, or a `Result` of a value. `void` and `done()` complete the
/// request without a value. Values are encoded in the format that the header entry "$accept"
/// requests, or in JSON if the entry is missing. A function with a `Reply` parameter answers with
/// this object, at once or later. An exception is reported, and the request is answered with 500. A
/// `KovaException` is answered with the response that it contains.
///
/// A path without a function is answered with 404, and a command without a function with 400. The
/// error lists the existing paths or commands. Functions run on the threads that send the requests.
/// Several threads may run them at the same time, without a lock. Functions with a worker run on
/// the threads of the worker.
class KOVA_KIT_API Resource : public Mountable {
public:
    Resource();
    /// Refuses new requests, ends pending ones with 503 and waits until no function is running.
    ~Resource();

    /// Adds a function. Throws `std::invalid_argument` if the template is malformed, if the
    /// parameters of the function do not match it, or if it would be ambiguous: another function
    /// has the same command, and neither of the two templates is preferred for the paths that both
    /// match. The message names the templates. Throws `std::logic_error` if the resource has served
    /// a request.
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

    /// Serves a path with an `Observable` or another stream. The path has no parameters. Clients
    /// can retrieve the value once or as a stream of values, and update it if the stream is
    /// writable. The elements of a list or map are below the path. Throws as `on` does. The stream
    /// serves every command, so a function for the same path is ambiguous.
    ///
    /// The stream may also be mounted elsewhere, and may be destroyed before or after the resource.
    /// The destructors of the stream and of the resource both end the streams that clients watch
    /// through this resource with 503. After the stream is destroyed, requests for the path are
    /// answered with 503. After the resource is destroyed, the stream has no watchers from this
    /// resource. Only the destructor of the stream waits until no receiver of its values is
    /// running.
    Resource& mount(const std::string& path, const detail::Streaming& stream);

    /// Adds a function or stream with its command and path. Used only by the kit.
    void add(detail::Route&& route);
};

}  // namespace kova::kit
