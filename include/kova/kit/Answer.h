#pragma once

#include <string>
#include <utility>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"

namespace kova::kit {

/// A value with the status code of its answer.
///
///     kova::kit::Answered<int> answer = kova::kit::created(3);
///     answer.code;  // 201
template <typename T>
struct Answered {
    /// The status code.
    unsigned short code = statuscodes::OK;
    /// The value.
    T value;
};

/// Returns the value with a status code.
template <typename T>
Answered<T> answered(unsigned short code, T value) {
    return {code, std::move(value)};
}
/// Returns the value with 201.
template <typename T>
Answered<T> created(T value) {
    return {statuscodes::CREATED, std::move(value)};
}
/// Returns an answer without a value: the request is completed.
inline Result<void> done() noexcept {
    return {};
}

/// Returns the error of a path that leads to nothing: 404 "path '/playlist/9' not found".
KOVA_KIT_API Error notFound(const Ask& ask);
/// Returns the error of the catalogue `errors::Error` with its status code and its text. Arguments
/// that the text does not need are ignored; missing ones are empty.
KOVA_KIT_API Error catalogued(int error, const std::string& first = {},
                              const std::string& second = {});
/// Ends a request with an error of the catalogue and reports the error. For resource handlers that
/// are written by hand. `handler` is used as `IResponseHandler` describes, so nothing may be sent
/// to it afterwards.
KOVA_KIT_API void fail(IResponseHandler<Response>& handler, int error,
                       const std::string& first = {}, const std::string& second = {});

}  // namespace kova::kit
