#pragma once

#include "kova/core/Export.h"
#include "zel/ErrorType.h"

/// The catalogue of errors that the framework reports through `zel::ErrorOutput`, and their status
/// codes. Constant data: any thread may use it.
namespace kova::errors {

/// The numbers of the catalogue. Each but `UndefinedHandle` (an address) and `NoError` (nothing)
/// takes texts as arguments: one, or two where two are named.
enum : int {
    NoError = 0,
    PathAlreadyRegistered = 1,      ///< the path
    PathNotFound = 2,               ///< the path
    PathNotValid = 3,               ///< the path
    PathNotConfigured = 4,          ///< the path
    NullPointerNotAllowed = 5,      ///< what must not be null
    UndefinedHandle = 6,            ///< the handle
    RequestFailed = 7,              ///< the reason
    UriFormatError = 8,             ///< the URI
    PayloadConversionFailed = 9,    ///< the reason
    InvalidParameter = 10,          ///< the parameter
    DeserializationError = 11,      ///< the type
    MissingRequiredValue = 12,      ///< the value
    UnexpectedDataFormat = 13,      ///< the type, the reason
    CommandNotSupported = 14,       ///< the command, the path
    PathParameterMissing = 15,      ///< what it is missing for
    UndefinedMimeType = 16,         ///< the mime type
    ElementNotFound = 17,           ///< the id
    InvalidJsonConfiguration = 18,  ///< the reason
    UnexpectedResponse = 19,        ///< what was received
    InternalServerError = 20        ///< the reason
};

/// The catalogue itself, named "kova::errors::Error" in reports.
KOVA_API extern const zel::ErrorType Error;

/// The status code that a response to the error carries; 500 for numbers without one (16) and for
/// numbers outside the catalogue.
KOVA_API unsigned short error2StatusCode(const int& error) noexcept;

}  // namespace kova::errors
