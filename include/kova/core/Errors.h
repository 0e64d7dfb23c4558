#pragma once

#include "kova/core/Export.h"
#include "zel/ErrorType.h"

/// The catalogue of the errors that the framework reports through `zel::ErrorOutput`, and the
/// status code of each error. The data is constant: any thread may use it.
namespace kova::errors {

/// The error numbers. The comment of each number names the arguments of its message. The argument
/// of `UndefinedHandle` is an address; all other arguments are texts.
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
    PathParameterMissing = 15,      ///< the operation that needs the parameter
    UndefinedMimeType = 16,         ///< the mime type
    ElementNotFound = 17,           ///< the id
    InvalidJsonConfiguration = 18,  ///< the reason
    UnexpectedResponse = 19,        ///< the response
    InternalServerError = 20        ///< the reason
};

/// The catalogue of these errors. Its name in reports is "kova::errors::Error".
KOVA_API extern const zel::ErrorType Error;

/// Returns the status code of a response that reports the error. Returns 500 for the error number
/// 16, which has no status code of its own, and for numbers outside the catalogue.
KOVA_API unsigned short error2StatusCode(const int& error) noexcept;

}  // namespace kova::errors
