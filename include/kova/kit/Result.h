#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "kova/core/Response.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// The reason of a failure: a status code and a human-readable message.
///
///     const kova::kit::Error error{404, "no such lamp"};
///     const kova::Response response = error.toResponse();
///     kova::kit::Error::of(response).message;  // "no such lamp"
struct KOVA_KIT_API Error {
    /// The status code, as in `kova::statuscodes`.
    unsigned short code = statuscodes::INTERNAL_SERVER_ERROR;
    /// The message: one line, without a line break. May be empty.
    std::string message;

    /// Returns the code and the message of a response. The message is empty if the response is not
    /// an error response.
    static Error of(const Response& response);
    /// Returns an error response. If the message is empty, uses the text of the code instead, so
    /// that the result is always an error response.
    Response toResponse() const;
    /// Returns the code, the text of the code and the message: "404 Not Found: no such lamp".
    std::string toString() const;
    /// Throws `KovaException` with `toResponse()`.
    [[noreturn]] void raise() const;
};

/// @{
/// Compare the codes and the messages.
inline bool operator==(const Error& left, const Error& right) noexcept {
    return left.code == right.code && left.message == right.message;
}
inline bool operator!=(const Error& left, const Error& right) noexcept {
    return !(left == right);
}
/// @}

/// A value, or the reason why it is missing.
///
/// Plain value type. Not synchronized. A default-constructed `Result<void>` is a success.
///
///     const auto half = [](int value) -> kova::kit::Result<int> {
///         if (value % 2 != 0) return kova::kit::Error{400, "an odd number"};
///         return value / 2;
///     };
///     int four = half(8).orThrow();
///     if (auto result = half(7); !result) result.error().message;  // "an odd number"
template <typename T>
class [[nodiscard]] Result {
    static_assert(std::is_object_v<T> && !std::is_same_v<std::decay_t<T>, Error>,
                  "a result holds an object that is not an Error");

public:
    /// The type of the value.
    using Value = T;

    /// @{
    /// Stores the value, or the error.
    Result(const T& value) : content_(std::in_place_index<0>, value) {}
    Result(T&& value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}
    /// @}
    /// Creates a result with a value-initialized value.
    explicit Result(std::in_place_t) : content_(std::in_place_index<0>) {}

    /// @{
    /// Returns whether the result has a value.
    bool ok() const noexcept { return content_.index() == 0; }
    explicit operator bool() const noexcept { return ok(); }
    /// @}

    /// @{
    /// Returns the value. Throws `KovaException` if the result is an error. The reference is valid
    /// as long as the result exists.
    const T& value() const& {
        requireValue();
        return *std::get_if<0>(&content_);
    }
    T& value() & {
        requireValue();
        return *std::get_if<0>(&content_);
    }
    T&& value() && { return std::move(value()); }
    /// @}

    /// @{
    /// Returns the value without a check. Undefined if the result is an error.
    const T& operator*() const& noexcept { return *std::get_if<0>(&content_); }
    T& operator*() & noexcept { return *std::get_if<0>(&content_); }
    T&& operator*() && noexcept { return std::move(*std::get_if<0>(&content_)); }
    const T* operator->() const noexcept { return std::get_if<0>(&content_); }
    T* operator->() noexcept { return std::get_if<0>(&content_); }
    /// @}

    /// @{
    /// Returns the value, or throws `KovaException`.
    T orThrow() && { return std::move(*this).value(); }
    T orThrow() const& { return value(); }
    /// @}
    /// Returns the value, or `other` if the result is an error.
    T valueOr(T other) const& { return ok() ? **this : std::move(other); }

    /// Returns the reason of the failure. Undefined if the result has a value. The reference is
    /// valid as long as the result exists.
    const Error& error() const noexcept { return *std::get_if<1>(&content_); }

private:
    void requireValue() const {
        if (!ok()) {
            error().raise();
        }
    }

    std::variant<T, Error> content_;
};

/// A success, or the reason of a failure.
template <>
class [[nodiscard]] Result<void> {
public:
    /// The type of the value.
    using Value = void;

    /// Creates a success.
    Result() noexcept = default;
    /// Creates a failure.
    Result(Error error) : error_(std::move(error)) {}

    /// @{
    /// Returns whether the result is a success.
    bool ok() const noexcept { return !error_; }
    explicit operator bool() const noexcept { return ok(); }
    /// @}

    /// Throws `KovaException` if the result is a failure.
    void orThrow() const {
        if (error_) {
            error_->raise();
        }
    }

    /// Returns the reason of the failure. Undefined if the result is a success. The reference is
    /// valid as long as the result exists.
    const Error& error() const noexcept { return *error_; }

private:
    std::optional<Error> error_;
};

}  // namespace kova::kit
