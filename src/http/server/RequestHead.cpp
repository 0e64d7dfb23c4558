#include "server/RequestHead.h"

#include "wire/Records.h"

namespace kova::http::detail {

namespace {

constexpr std::size_t COUNTED_PER_FIELD = 32;

// Parameters of the media type are ignored.
std::string_view withoutParameters(std::string_view type) noexcept {
    type = type.substr(0, type.find(';'));
    while (!type.empty() && type.back() == ' ') {
        type.remove_suffix(1);
    }
    return type;
}

}  // namespace

void RequestHead::add(std::string_view name, std::string_view value) {
    size_ += name.size() + value.size() + COUNTED_PER_FIELD;
    if (isTooLong()) {
        return;
    }
    if (name == ":method") {
        method_ = value;
    } else if (name == ":path") {
        path_ = value;
    } else if (name == "content-type") {
        contentType_ = value;
    }
}

std::optional<Refusal> RequestHead::refusal() const {
    if (isTooLong()) {
        return Refusal{431,
                       "the header fields have more than " + std::to_string(limit_) + " bytes\n"};
    }
    if (method_ != "POST") {
        return Refusal{405,
                       "over HTTP/2 the method is POST, with a request in records; use HTTP/1.1 "
                       "for other requests\n"};
    }
    if (withoutParameters(contentType_) != wire::RECORDS_TYPE) {
        return Refusal{415, "the content type of a request in records is " +
                                std::string(wire::RECORDS_TYPE) + "\n"};
    }
    return std::nullopt;
}

}  // namespace kova::http::detail
