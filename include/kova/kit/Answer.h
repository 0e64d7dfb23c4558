#pragma once

#include <string>
#include <utility>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"

namespace kova::kit {

/// The result of a function that serves a request: a value and the status code of the answer.
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

/// Returns an answer with this value and this status code.
template <typename T>
Answered<T> answered(unsigned short code, T value) {
    return {code, std::move(value)};
}
/// Returns an answer with this value and the status code 201.
template <typename T>
Answered<T> created(T value) {
    return {statuscodes::CREATED, std::move(value)};
}
/// Returns a success without a value. The request is completed without a value.
inline Result<void> done() noexcept {
    return {};
}

/// Returns the error for a path that does not exist, such as 404 "path '/playlist/9' not found".
KOVA_KIT_API Error notFound(const Ask& ask);
/// Returns an error of the catalogue `errors::Error`, with its status code and its text. If the
/// text has fewer placeholders than there are arguments, the other arguments are ignored. A missing
/// argument counts as an empty text.
KOVA_KIT_API Error catalogued(int error, const std::string& first = {},
                              const std::string& second = {});
/// Ends a request with an error of the catalogue and reports the error. For resource handlers that
/// do not use `Resource`. Nothing may be sent to `handler` afterwards.
KOVA_KIT_API void fail(IResponseHandler<Response>& handler, int error,
                       const std::string& first = {}, const std::string& second = {});

}  // namespace kova::kit
