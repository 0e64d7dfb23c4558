#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/kit/Result.h"

namespace kova::nats::detail {

// The subjects of requests (docs/nats.md):
//
//     PREFIX.PATH.@q             any server of the service path
//     PREFIX.PATH.INSTANCE.@q    the server with this instance name
//     PREFIX.PATH.@a             all servers of the service path that have an instance name
//     PREFIX.@c.SERVER.NUMBER    what a client tells the server about one request
//
// PATH has a token for each segment of the service path. The bytes of a token that are not a
// letter, a digit, "-" or "_" are percent-encoded; an empty token becomes "%". So no token of a
// path is equal to "@q", "@a" or "@c". An instance is a segment of the path, so "car-17" of
// "/device" is the service path "/device/car-17", too.

/// The longest service path, instance name and prefix, each. The broker's default limit for the
/// subjects of one message together is 4096 bytes.
constexpr std::size_t LONGEST_NAME = 256;

/// Returns a text as one token of a subject.
std::string tokenOf(std::string_view text);
/// Returns an error if the text is not a sequence of tokens with "." between them, of letters,
/// digits, "-" and "_".
kit::Result<void> checkPrefix(std::string_view prefix);
/// Returns the subject of requests to any server of a service path, or, with an instance name, to
/// one server. A "/" in an instance name is a byte of its token. Returns the error 400 if the
/// service path does not begin with "/", or if a name is too long. A "/" at the end of the service
/// path is ignored.
kit::Result<std::string> requestSubject(std::string_view prefix, std::string_view servicePath,
                                        std::string_view instance);
/// Returns the subject on which the instances of a service path are searched for. Fails as
/// `requestSubject` does.
kit::Result<std::string> searchSubject(std::string_view prefix, std::string_view servicePath);
/// Returns the subject on which a server is told about its requests, without the number.
std::string controlSubject(std::string_view prefix, std::string_view server);
/// Returns the number that follows `subject` and a "." in the subject of a message; nothing if
/// no number does.
std::optional<std::uint64_t> numberAfter(std::string_view subject, std::string_view message);

}  // namespace kova::nats::detail
