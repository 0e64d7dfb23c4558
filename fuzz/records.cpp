// Records of the wire: the same bytes yield the same records, whatever pieces they arrive in. The
// message of a record can be written as a record, from which the same message is read.
#include "wire/Records.h"

#include "support/Fuzz.h"

using namespace kova;
using namespace kova::wire;

namespace {

constexpr std::size_t LIMIT = 512;

void checkReason(const kit::Error& error) {
    fuzz::require(error.code == 400 && !error.message.empty() && fuzz::lacks(error.message, "\r\n"),
                  "a failure has the code 400 and a line of text");
}

/// Writes a message as a record, and calls `check` with the record that is read from these bytes.
template <typename Append, typename Check>
void readAgain(Append append, Check check) {
    std::string bytes;
    fuzz::require(append(bytes).ok(), "a message that was read can be written");
    RecordReader reader(bytes.size());
    reader.add(bytes);
    const kit::Result<std::optional<Record>> record = reader.next();
    fuzz::require(record.ok() && record->has_value() && !reader.isInside(),
                  "what was written is one record");
    check(**record, bytes);
}

void checkFields(const Record& copy, const Record& record) {
    fuzz::require(copy.kind == record.kind, "a round trip does not change the kind");
    fuzz::requireEqual(copy.mimeType, record.mimeType, "a round trip does not change the type");
    fuzz::require(copy.payload == record.payload, "a round trip does not change the payload");
}

void checkResponse(const Record& record) {
    const kit::Result<Response> response = record.toResponse();
    if (!response) {
        checkReason(response.error());
        return;
    }
    const auto append = [&](const Response& message) {
        return [&](std::string& out) { return appendEvent(out, record.kind, message, true); };
    };
    readAgain(append(*response), [&](const Record& copy, const std::string& bytes) {
        checkFields(copy, record);
        fuzz::require(copy.status == record.status, "a round trip does not change the status");
        readAgain(append(copy.toResponse().orThrow()),
                  [&](const Record&, const std::string& again) {
                      fuzz::requireEqual(again, bytes, "a round trip does not change the bytes");
                  });
    });
}

void checkRequest(const Record& record) {
    const kit::Result<Request> request = record.toRequest();
    if (!request) {
        checkReason(request.error());
        return;
    }
    const auto append = [](const Request& message) {
        return [&](std::string& out) { return appendRequest(out, message); };
    };
    readAgain(append(*request), [&](const Record& copy, const std::string& bytes) {
        checkFields(copy, record);
        fuzz::requireEqual(copy.command, record.command, "a round trip keeps the command");
        fuzz::requireEqual(copy.path, record.path, "a round trip keeps the path");
        readAgain(append(copy.toRequest().orThrow()), [&](const Record&, const std::string& again) {
            fuzz::requireEqual(again, bytes, "a round trip does not change the bytes");
        });
    });
}

std::string textOf(const Record& record) {
    std::string text = std::to_string(static_cast<int>(record.kind)) + ' ' +
                       std::to_string(record.version.value_or(0)) + ' ' +
                       std::to_string(record.status);
    for (const std::string_view field :
         {record.mimeType, record.command, record.path, record.payload.value_or("-"),
          record.header.value_or("-")}) {
        text.append(" '").append(field).append("'");
    }
    return text + '\n';
}

/// Reads the records that are complete. Returns false after a failure.
bool readAll(RecordReader& reader, std::string& out) {
    for (;;) {
        const kit::Result<std::optional<Record>> record = reader.next();
        if (!record) {
            checkReason(record.error());
            out += record.error().message;
            return false;
        }
        if (!*record) {
            return true;
        }
        out += textOf(**record);
        if ((**record).kind == RecordKind::request) {
            checkRequest(**record);
        } else {
            checkResponse(**record);
        }
    }
}

std::string readInPieces(std::string_view bytes, std::size_t piece) {
    RecordReader reader(LIMIT);
    std::string out;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        reader.add(bytes.substr(at, piece));
        if (!readAll(reader, out)) {
            return out;
        }
    }
    return out + (reader.isInside() ? "inside" : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t piece = 1U + input.byte();
    const std::string bytes = input.rest();
    const std::string whole = readInPieces(bytes, bytes.size() + 1);
    fuzz::requireEqual(readInPieces(bytes, piece), whole, "pieces give the same records");
    static_cast<void>(fuzz::takeReports());
    return 0;
}
