#pragma once

#include <array>
#include <map>
#include <string>

#include "kova/core/Payload.h"
#include "kova/kit/values/Codec.h"

// The codecs of arrays with a fixed length, of maps and of bytes.
namespace kova::kit::detail {

/// The codec of `std::array`. Payloads contain an array of exactly `N` elements.
template <typename T, std::size_t N>
struct Codec<std::array<T, N>> {
    static constexpr Kind KIND = Kind::Array;
    template <class In>
    static bool read(In& in, std::array<T, N>& out) {
        std::size_t size = 0;
        const auto readElement = [&](std::size_t i) {
            size = i + 1;
            return i < N ? Codec<T>::read(in, out[i]) : refuse(in, "more");
        };
        return readElements(in, readElement,
                            [&] { return size == N || refuse(in, std::to_string(size)); });
    }
    template <class Out>
    static bool write(Out& out, const std::array<T, N>& values) {
        return writeElements(out, values);
    }

private:
    template <class In>
    static bool refuse(In& in, const std::string& found) {
        return in.refuse("an array of " + std::to_string(N) + " elements", found);
    }
};

/// The codec of `std::map`. Payloads contain an object with any fields.
template <typename T>
struct Codec<std::map<std::string, T>> {
    static constexpr Kind KIND = Kind::Object;
    template <class In>
    static bool read(In& in, std::map<std::string, T>& out) {
        out.clear();
        if (!in.enter() || !in.beginObject()) {
            return false;
        }
        while (!in.atObjectEnd()) {
            std::string_view name;
            if (!in.count(1) || !in.beginField(name) || !in.checkText(name.size())) {
                return false;
            }
            std::string key(name);
            T value{};
            if (!Codec<T>::read(in, value) || !in.endField()) {
                return in.inField(key);
            }
            out.insert_or_assign(std::move(key), std::move(value));
        }
        in.leave();
        return in.endObject();
    }
    template <class Out>
    static bool write(Out& out, const std::map<std::string, T>& values) {
        if (!out.enter() || !out.beginObject()) {
            return false;
        }
        for (const auto& [key, value] : values) {
            if (!out.beginField(key) || !Codec<T>::write(out, value) || !out.endField()) {
                return out.inField(key);
            }
        }
        out.leave();
        return out.endObject();
    }
};

/// The codec of bytes: an array of unsigned integers of 8 bits. The binary format packs them.
template <>
struct Codec<Blob> {
    static constexpr Kind KIND = Kind::Array;
    template <class In>
    static bool read(In& in, Blob& out) {
        std::vector<std::uint8_t> bytes;
        if (!Codec<std::vector<std::uint8_t>>::read(in, bytes)) {
            return false;
        }
        out = toBlob(bytes);
        return true;
    }
    template <class Out>
    static bool write(Out& out, const Blob& value) {
        const std::vector<std::uint8_t> bytes(value.data.get(), value.data.get() + sizeOf(value));
        return Codec<std::vector<std::uint8_t>>::write(out, bytes);
    }

    /// Returns a blob with a copy of the bytes.
    KOVA_KIT_API static Blob toBlob(const std::vector<std::uint8_t>& bytes);

private:
    static std::size_t sizeOf(const Blob& value) noexcept {
        return value.data == nullptr ? 0 : static_cast<std::size_t>(value.size);
    }
};

}  // namespace kova::kit::detail
