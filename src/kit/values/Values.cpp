#include "kova/kit/Values.h"

#include "Recorded.h"
#include "Sessions.h"
#include "TreeReader.h"
#include "TreeWriter.h"

namespace kova::kit::detail {

namespace {

/// Returns the failure. Acknowledges the thread's latest error, because the returned failure
/// contains its reason.
Error errorOf(const State& state, unsigned short code, Recorded& recorded) {
    recorded.acknowledge();
    return state.error(code);
}

}  // namespace

std::optional<Error> readPayload(const Payload& payload, const Limits& limits,
                                 bool (*read)(Reader&, void*), void* out) {
    PayloadReader session(payload, limits);
    if (!session.isKnown()) {
        return unknownFormat(statuscodes::BAD_REQUEST, payload.getMimeType());
    }
    Recorded recorded;
    PullReader& reader = session.reader();
    if (session.begin() && read(reader, out) && reader.end()) {
        return std::nullopt;
    }
    return errorOf(reader, statuscodes::BAD_REQUEST, recorded);
}

Result<Payload> writePayload(const std::string& mimeType, const Limits& limits,
                             bool (*write)(Writer&, const void*), const void* value) {
    Recorded recorded;
    PayloadWriter session(mimeType, limits);
    if (!session.isKnown()) {
        return unknownFormat(statuscodes::INTERNAL_SERVER_ERROR, mimeType);
    }
    if (!write(session.writer(), value) || !session.writer().end()) {
        return errorOf(session.writer(), statuscodes::INTERNAL_SERVER_ERROR, recorded);
    }
    return session.payload();
}

std::optional<Error> readTreeValue(const util::config::Value& tree, const Limits& limits,
                                   bool (*read)(Reader&, void*), void* out) {
    Recorded recorded;
    TreeReader reader(tree, limits);
    if (read(reader, out)) {
        return std::nullopt;
    }
    return errorOf(reader, statuscodes::BAD_REQUEST, recorded);
}

Result<Tree> writeTreeValue(const Limits& limits, bool (*write)(Writer&, const void*),
                            const void* value) {
    Recorded recorded;
    TreeWriter writer(limits);
    if (!write(writer, value)) {
        return errorOf(writer, statuscodes::INTERNAL_SERVER_ERROR, recorded);
    }
    return writer.take();
}

}  // namespace kova::kit::detail
