#include "kova/kit/Values.h"

#include "Sessions.h"
#include "TreeReader.h"
#include "TreeWriter.h"

namespace kova::kit::detail {

std::optional<Error> readPayload(const Payload& payload, const Limits& limits,
                                 bool (*read)(Reader&, void*), void* out) {
    PayloadReader session(payload, limits);
    if (!session.isKnown()) {
        return unknownFormat(statuscodes::BAD_REQUEST, payload.getMimeType());
    }
    PullReader& reader = session.reader();
    if (session.begin() && read(reader, out) && reader.end()) {
        return std::nullopt;
    }
    return reader.error(statuscodes::BAD_REQUEST);
}

Result<Payload> writePayload(const std::string& mimeType, const Limits& limits,
                             bool (*write)(Writer&, const void*), const void* value) {
    PayloadWriter session(mimeType, limits);
    if (!session.isKnown()) {
        return unknownFormat(statuscodes::INTERNAL_SERVER_ERROR, mimeType);
    }
    if (!write(session.writer(), value)) {
        return session.writer().error(statuscodes::INTERNAL_SERVER_ERROR);
    }
    return session.end();
}

std::optional<Error> readTreeValue(const util::config::Value& tree, const Limits& limits,
                                   bool (*read)(Reader&, void*), void* out) {
    TreeReader reader(tree, limits);
    if (read(reader, out)) {
        return std::nullopt;
    }
    return reader.error(statuscodes::BAD_REQUEST);
}

Result<Tree> writeTreeValue(const Limits& limits, bool (*write)(Writer&, const void*),
                            const void* value) {
    TreeWriter writer(limits);
    if (!write(writer, value)) {
        return writer.error(statuscodes::INTERNAL_SERVER_ERROR);
    }
    return writer.take();
}

}  // namespace kova::kit::detail
