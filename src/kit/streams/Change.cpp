#include "kova/kit/resources/Change.h"

#include <cstddef>

#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"

namespace kova::kit::detail {

Change::~Change() = default;

const Change::Form& Change::form(StreamFormat format) {
    Form& form = forms_[static_cast<std::size_t>(format)];
    std::call_once(form.once, [&] {
        const Result<Payload> payload =
            encode(format == StreamFormat::json ? mimetypes::JSON_TYPE : mimetypes::AXOBIN_TYPE);
        form.failed = !payload;
        form.response =
            payload ? Response(statuscodes::STREAM, *payload) : payload.error().toResponse();
    });
    return form;
}

}  // namespace kova::kit::detail
