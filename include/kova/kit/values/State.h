#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/kit/Export.h"
#include "kova/kit/Limits.h"
#include "kova/kit/Result.h"

namespace kova::kit::detail {

/// The common base of the readers and writers of every format. It stores the limits of the payload
/// and the reason of a failure. Only one thread at a time may use it.
///
/// The function that detects a failure describes it. Each caller then prepends its field or element
/// while the call stack returns, so the path of a value costs nothing unless a failure occurs. All
/// functions that return a bool return true on success.
class KOVA_KIT_API State {
public:
    explicit State(const Limits& limits) noexcept : limits_(limits) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    /// Counts the beginning of an array or object. Fails if it is nested too deeply.
    [[nodiscard]] bool enter() { return ++depth_ <= limits_.depth || refuseDepth(); }
    /// Counts the end of an array or object.
    void leave() noexcept { --depth_; }
    /// Counts elements. Fails if the payload has too many.
    [[nodiscard]] bool count(std::size_t elements) {
        elements_ += elements;
        return elements_ <= limits_.elements || refuseCount();
    }
    /// Checks the length of a text. Fails if it is too long.
    [[nodiscard]] bool checkText(std::size_t bytes) {
        return bytes <= limits_.textBytes || refuseText(bytes);
    }

    /// Describes a failure and returns false. `found` may be empty. Only the first failure is
    /// stored.
    bool refuse(std::string_view expected, std::string_view found);
    /// Stores a failure text of the platform's reader or writer, and returns false. The text
    /// already contains the path and the position.
    bool fail(std::string text);
    /// Copies the failure of another reader or writer, if that one has failed, and returns false.
    bool adopt(const State& other);
    /// Prepends the name of a field to the path of the failure, and returns false.
    bool inField(std::string_view name);
    /// Prepends the index of an element to the path of the failure, and returns false.
    bool inElement(std::size_t index);

    /// @{
    /// Describes that the depth limit is exceeded, and returns false.
    bool refuseDepth();
    bool refuseCount();
    bool refuseText(std::size_t bytes);
    /// @}

    /// Returns the failure as an error with the given code.
    Error error(unsigned short code) const;

    /// Returns the text in quotation marks. Cuts off the end of a long text.
    static std::string quoted(std::string_view text);

protected:
    ~State() = default;

private:
    /// Returns the position in the payload of the first byte of the latest value, or `std::nullopt`
    /// if the format does not support this.
    virtual std::optional<std::size_t> position() = 0;

    Limits limits_;
    std::size_t depth_ = 0;
    std::size_t elements_ = 0;
    bool hasFailed_ = false;
    bool isComplete_ = false;  // whether `text_` already contains the path
    std::string text_;
    std::string path_;
};

}  // namespace kova::kit::detail
