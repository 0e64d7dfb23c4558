#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "kova/core/Response.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"
#include "kova/kit/Values.h"
#include "kova/kit/resources/BlockPool.h"

// The values that streams deliver. Used only by the kit.
namespace kova::kit::detail {

/// The formats in which a stream can encode its values.
enum class StreamFormat : std::uint8_t { json, binary };

/// A value of a stream, which all watchers share. The value is encoded once for each format, when
/// the first watcher with that format gets it. Any thread may call any function.
class KOVA_KIT_API Change {
public:
    /// The value in a format.
    struct Form {
        /// A response with the code 299 and the encoded value, or an error if the format cannot
        /// represent the value.
        Response response;
        bool failed = false;
    };

    Change() = default;
    virtual ~Change();
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    /// Returns the value in a format. The reference is valid as long as the object exists.
    const Form& form(StreamFormat format);

private:
    virtual Result<Payload> encode(const std::string& mimeType) const = 0;
    KOVA_KIT_LOCAL void fill(StreamFormat format, std::size_t number);

    // An atomic flag and a mutex replace `std::call_once`, which makes a system call after the
    // function has returned.
    std::atomic<bool> isReady_[2] = {};
    std::mutex mutex_;
    Form forms_[2];
};

/// Creates a change in a block of the `BlockPool`, because one thread creates changes and other
/// threads destroy them. With `malloc`, a value for one watcher takes 10 % more time. A type with a
/// stricter alignment than blocks have is allocated with `std::make_shared`.
template <typename Type, typename... Arguments>
std::shared_ptr<Type> makeChange(Arguments&&... arguments) {
    if constexpr (alignof(Type) > alignof(std::max_align_t)) {
        return std::make_shared<Type>(std::forward<Arguments>(arguments)...);
    } else {
        return std::allocate_shared<Type>(BlockAllocator<Type>(),
                                          std::forward<Arguments>(arguments)...);
    }
}

/// A change whose payload is the value itself.
template <typename T>
class ValueChange final : public Change {
public:
    explicit ValueChange(T&& value) : value(std::move(value)) {}
    explicit ValueChange(const T& value) : value(value) {}

    const T value;

private:
    Result<Payload> encode(const std::string& mimeType) const override {
        return toPayload(value, mimeType);
    }
};

/// An element that a list or map shares with the changes of its stream. The codec can write it, but
/// not read it.
template <typename T>
using Shared = std::shared_ptr<const T>;

template <typename T>
struct Codec<std::shared_ptr<const T>> {
    static constexpr Kind KIND = Codec<T>::KIND;
    template <class Out>
    static bool write(Out& out, const std::shared_ptr<const T>& value) {
        return Codec<T>::write(out, *value);
    }
};

/// The answer to a client that retrieves one element of a list or map.
template <typename T>
class ElementChange final : public Change {
public:
    explicit ElementChange(Shared<T> value) noexcept : value_(std::move(value)) {}

private:
    Result<Payload> encode(const std::string& mimeType) const override {
        return toPayload(*value_, mimeType);
    }

    const Shared<T> value_;
};

}  // namespace kova::kit::detail
