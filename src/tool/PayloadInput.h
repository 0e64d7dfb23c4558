#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

#include "Context.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "kova/kit/Result.h"

namespace kova::tool {

/// Where the payload of a request comes from, and its format.
struct PayloadInput {
    /// The text of the payload; "-" for standard input.
    std::optional<std::string> text;
    /// The name of the file with the payload.
    std::optional<std::string> file;
    /// The mime type of the bytes. JSON is checked; others are sent verbatim.
    std::string type = mimetypes::JSON_TYPE;
    /// Whether JSON is converted to the binary format.
    bool binary = false;
};

/// Returns the payload, empty without a text and a file. Fails with 400 and the reason if the file
/// cannot be read, or if the type is JSON and the bytes are not.
kit::Result<Payload> readPayload(const PayloadInput& input, const Context& context);

/// Returns the bytes up to the end of a file, or of standard input for "-". Fails with 400 and the
/// reason if they cannot be read, or if there are more than `most`.
kit::Result<std::string> readBytes(const std::string& file, const Context& context,
                                   std::size_t most = std::numeric_limits<std::size_t>::max());

}  // namespace kova::tool
