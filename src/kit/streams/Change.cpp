#include "kova/kit/resources/Change.h"

#include <cstddef>
#include <string>

#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"

namespace kova::kit::detail {

namespace {

// Never destroyed, because the threads of the pool encode until the process ends. Not created for
// each value, because the text is too long for the inline storage of `std::string`.
const std::string& nameOf(StreamFormat format) {
    // NOLINTBEGIN(bugprone-unhandled-exception-at-new): without memory the process ends
    static const std::string& json = *new std::string(mimetypes::JSON_TYPE);
    static const std::string& binary = *new std::string(mimetypes::AXOBIN_TYPE);
    // NOLINTEND(bugprone-unhandled-exception-at-new)
    return format == StreamFormat::json ? json : binary;
}

}  // namespace

Change::~Change() = default;

const Change::Form& Change::form(StreamFormat format) {
    const auto number = static_cast<std::size_t>(format);
    if (!isReady_[number].load(std::memory_order_acquire)) {
        fill(format, number);
    }
    return forms_[number];
}

// A second thread that needs the format waits until the first one has encoded the value.
void Change::fill(StreamFormat format, std::size_t number) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isReady_[number].load(std::memory_order_relaxed)) {
        return;
    }
    Form& form = forms_[number];
    Result<Payload> payload = encode(nameOf(format));
    form.failed = !payload;
    form.response =
        payload ? Response(statuscodes::STREAM, *std::move(payload)) : payload.error().toResponse();
    isReady_[number].store(true, std::memory_order_release);
}

}  // namespace kova::kit::detail
