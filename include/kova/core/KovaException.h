#pragma once

#include <exception>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/Response.h"

namespace kova {

/// An exception that contains an error response, for applications that prefer to throw. The
/// framework never throws it.
///
///     try {
///         throw kova::KovaException(kova::Response::createErrorResponse(404, "no such lamp"));
///     } catch (const kova::KovaException& error) {
///         error.what();  // "404 Not Found no such lamp"
///     }
class KOVA_API KovaException : public std::exception {
public:
    /// Stores the response and the message that `createErrorMessage` returns for this response.
    explicit KovaException(const Response& response);
    explicit KovaException(Response&& response);

    /// @{
    /// Assigning an exception to itself changes nothing.
    KovaException(const KovaException&) = default;
    KovaException(KovaException&&) noexcept = default;
    KovaException& operator=(const KovaException&) = default;
    KovaException& operator=(KovaException&& other) noexcept;
    ~KovaException() override = default;
    /// @}

    /// Returns the status code of the response.
    unsigned short getErrorCode() const noexcept { return response_.getStatusCode(); }
    /// Returns the response. It lives as long as the exception.
    const Response& getResponse() const noexcept { return response_; }
    /// Returns the decimal status code, the text of the code and the error message, separated by
    /// blanks: "404 Not Found path '/a' not found". Omits the message if the response has none.
    std::string createErrorMessage() const;
    /// Returns the message. It lives as long as the exception.
    char const* what() const noexcept override { return message_.c_str(); }

private:
    Response response_;
    std::string message_;
};

}  // namespace kova
