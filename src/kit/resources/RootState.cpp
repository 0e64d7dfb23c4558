#include "resources/RootState.h"

#include "kova/core/StatusCodes.h"
#include "kova/kit/Answer.h"
#include "kova/kit/Command.h"
#include "kova/kit/Schema.h"
#include "kova/kit/Values.h"
#include "resources/Hints.h"

namespace kova::kit::detail {

std::vector<Operation> RootState::operations() const {
    Operation list;
    list.command = command::retrieve;
    list.valueSchema = &schemaOf<std::vector<std::string>>;
    return {list};
}

std::shared_ptr<Exchange> RootState::serve(Incoming incoming) {
    const Response response = answer(incoming.ask);
    if (response.isErrorResponse()) {
        incoming.handler->onError(response);
    } else {
        incoming.handler->onNext(response);
        incoming.handler->onCompleted();
    }
    return nullptr;
}

Response RootState::answer(const Ask& ask) const {
    if (!ask.path().empty()) {
        Error error = notFound(ask);
        const std::string_view similar =
            mostSimilar(ask.request().getPath(), {mounts_.begin(), mounts_.end()});
        if (!similar.empty()) {
            error.message += "; did you mean '" + std::string(similar) + "'?";
        }
        return error.toResponse();
    }
    if (ask.command() != command::retrieve) {
        return Error{statuscodes::BAD_REQUEST, "Service Root read-only"}.toResponse();
    }
    std::string const* const format = formatOf(ask);
    if (format == nullptr) {
        return unknownFormat(ask.accept()).toResponse();
    }
    return {statuscodes::OK, toPayload(mounts_, *format).value()};
}

}  // namespace kova::kit::detail
