#include "kova/core/Errors.h"

#include <iterator>

namespace kova::errors {

namespace {

/// The status code of error numbers to which no status code is assigned.
constexpr unsigned short DEFAULT_STATUS = 500;

struct Row {
    zel::ErrorID id;
    unsigned short status;
};

// Log-processing tools match the message texts; do not fix the spelling. Several status codes are
// unusual on purpose, among them 410 for a failed request and 403 for a null pointer.
constexpr Row ROWS[] = {
    {{NoError, "No error", 0}, 200},
    {{PathAlreadyRegistered, "the path '%s' is already registered", 1}, 409},
    {{PathNotFound, "path '%s' not found", 1}, 404},
    {{PathNotValid, "path '%s' not valid", 1}, 400},
    {{PathNotConfigured, "path '%s' not configured", 1}, 503},
    {{NullPointerNotAllowed, "null pointer not allowed for %s", 1}, 403},
    {{UndefinedHandle, "handle %p is undefined", 1}, 409},
    {{RequestFailed, "request failed, reason = %s", 1}, 410},
    {{UriFormatError, "uri '%s' has errorneous format", 1}, 400},
    {{PayloadConversionFailed, "can't convert payload: '%s'", 1}, 409},
    {{InvalidParameter, "parameter '%s' is invalid", 1}, 400},
    {{DeserializationError, "error on deserialization for '%s'", 1}, 409},
    {{MissingRequiredValue, "missing required value '%s'", 1}, 400},
    {{UnexpectedDataFormat, "data is not in the expected format for '%s' because of '%s'", 2}, 409},
    {{CommandNotSupported, "command '%s' not supported for path '%s'", 2}, 400},
    {{PathParameterMissing, "path parameter missing for '%s'", 1}, 400},
    {{UndefinedMimeType, "undefined mime-type '%s'", 1}, DEFAULT_STATUS},
    {{ElementNotFound, "unable to find element with id '%s'", 1}, 404},
    {{InvalidJsonConfiguration, "json configuration file invalid: '%s'", 1}, 400},
    {{UnexpectedResponse, "received unexpected response: %s", 1}, 417},
    {{InternalServerError, "Internal error in server implementation: %s", 1}, 500},
};

constexpr std::size_t COUNT = std::size(ROWS);

/// The catalogue in the form that the platform needs: the rows without their status codes.
struct Catalogue {
    zel::ErrorID ids[COUNT];
};

constexpr Catalogue makeCatalogue() {
    Catalogue catalogue{};
    for (std::size_t i = 0; i < COUNT; ++i) {
        catalogue.ids[i] = ROWS[i].id;
    }
    return catalogue;
}

constexpr Catalogue CATALOGUE = makeCatalogue();

// Returns the number of argument fields in the format.
constexpr unsigned int fieldsOf(char const* format) {
    unsigned int count = 0;
    for (; *format != '\0'; ++format) {
        count += *format == '%' ? 1U : 0U;
    }
    return count;
}

constexpr bool rowsAreConsistent() {
    for (std::size_t i = 0; i < COUNT; ++i) {
        const zel::ErrorID& id = ROWS[i].id;
        if (id.number != static_cast<int>(i) || id.arguments != fieldsOf(id.format)) {
            return false;
        }
    }
    return true;
}

static_assert(COUNT == InternalServerError + 1, "each number has a row");
static_assert(rowsAreConsistent(), "a row is at the index of its number and counts its fields");

}  // namespace

constexpr zel::ErrorType Error("kova::errors::Error", CATALOGUE.ids);

unsigned short error2StatusCode(const int& error) noexcept {
    const bool known = error >= 0 && static_cast<std::size_t>(error) < COUNT;
    return known ? ROWS[error].status : DEFAULT_STATUS;
}

}  // namespace kova::errors
