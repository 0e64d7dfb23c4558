#pragma once

#include <exception>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/Response.h"

namespace kova {

/// An error response as an exception, for application code that prefers to throw. The framework
/// itself never throws it.
///
///     try {
///         throw kova::KovaException(kova::Response::createErrorResponse(404, "no such lamp"));
///     } catch (const kova::KovaException& error) {
///         error.what();  // "404 Not Found no such lamp"
///     }
class KOVA_API KovaException : public std::exception {
public:
    /// Holds a copy of the response; the message is made from it (`createErrorMessage`).
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

    /// The status code of the response.
    unsigned short getErrorCode() const noexcept { return response_.getStatusCode(); }
    /// The response that is reported; lives as long as the exception.
    const Response& getResponse() const noexcept { return response_; }
    /// The decimal status code, the code's text and, when the response carries one, its error
    /// message, joined with blanks: "404 Not Found path '/a' not found".
    std::string createErrorMessage() const;
    /// The message that `createErrorMessage` made at construction.
    char const* what() const noexcept override { return message_.c_str(); }

private:
    Response response_;
    std::string message_;
};

}  // namespace kova
