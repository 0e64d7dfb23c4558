#include "nats/server/Requests.h"

#include <algorithm>
#include <optional>

#include "kova/core/StatusCodes.h"
#include "wire/Records.h"

namespace kova::nats::detail {

namespace {

kit::Error malformed(char const* reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

}  // namespace

kit::Result<Request> readRequest(std::string_view bytes) {
    wire::RecordReader reader(std::max<std::size_t>(bytes.size(), 1));
    reader.add(bytes);
    const kit::Result<std::optional<wire::Record>> record = reader.next();
    if (!record) {
        return record.error();
    }
    if (!*record || (*record)->kind != wire::RecordKind::request) {
        return malformed("the message has no record of a request");
    }
    kit::Result<Request> request = (*record)->toRequest();
    if (request && reader.isInside()) {
        return malformed("bytes follow the record of the request");
    }
    return request;
}

}  // namespace kova::nats::detail
