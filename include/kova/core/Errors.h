#pragma once

#include "kova/core/Export.h"
#include "zel/ErrorType.h"

/// The catalogue of errors that the framework reports through `zel::ErrorOutput`, and their status
/// codes. Constant data: any thread may use it.
namespace kova::errors {

/// The numbers of the catalogue, with the arguments of their messages: `UndefinedHandle` has an
/// address, every other argument is a text.
enum : int {
    NoError = 0,
    PathAlreadyRegistered = 1,      ///< the path
    PathNotFound = 2,               ///< the path
    PathNotValid = 3,               ///< the path
    PathNotConfigured = 4,          ///< the path
    NullPointerNotAllowed = 5,      ///< the name of the pointer
    UndefinedHandle = 6,            ///< the handle
    RequestFailed = 7,              ///< the reason
    UriFormatError = 8,             ///< the URI
    PayloadConversionFailed = 9,    ///< the reason
    InvalidParameter = 10,          ///< the parameter
    DeserializationError = 11,      ///< the type
    MissingRequiredValue = 12,      ///< the value
    UnexpectedDataFormat = 13,      ///< the type, the reason
    CommandNotSupported = 14,       ///< the command, the path
    PathParameterMissing = 15,      ///< the operation that needs it
    UndefinedMimeType = 16,         ///< the mime type
    ElementNotFound = 17,           ///< the id
    InvalidJsonConfiguration = 18,  ///< the reason
    UnexpectedResponse = 19,        ///< the response
    InternalServerError = 20        ///< the reason
};

/// The catalogue. Its name in reports is "kova::errors::Error".
KOVA_API extern const zel::ErrorType Error;

/// Returns the status code of a response to the error; 500 for a number without one (16) and for
/// numbers outside the catalogue.
KOVA_API unsigned short error2StatusCode(const int& error) noexcept;

}  // namespace kova::errors
