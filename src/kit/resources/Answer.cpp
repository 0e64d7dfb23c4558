#include "kova/kit/Answer.h"

#include <iterator>

#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova::kit {

namespace {

// Returns the text of an error of the catalogue, with its arguments.
std::string format(char const* text, std::string_view first, std::string_view second) {
    std::string result;
    std::string_view const* next = &first;
    for (; *text != '\0'; ++text) {
        if (text[0] == '%' && text[1] != '\0') {
            result += *next;
            next = &second;
            ++text;
        } else {
            result += *text;
        }
    }
    return result;
}

}  // namespace

Error catalogued(int error, const std::string& first, const std::string& second) {
    zel::ErrorID const* const row = errors::Error.find(error);
    char const* const text = row != nullptr ? row->format : "";
    return {errors::error2StatusCode(error), format(text, first, second)};
}

Error notFound(const Ask& ask) {
    return catalogued(errors::PathNotFound, ask.request().getPath());
}

void fail(IResponseHandler<Response>& handler, int error, const std::string& first,
          const std::string& second) {
    zel::ErrorOutput("src/kit/resources/Answer", __LINE__, true)(errors::Error, error,
                                                                 first.c_str(), second.c_str());
    handler.onError(catalogued(error, first, second).toResponse());
}

}  // namespace kova::kit
