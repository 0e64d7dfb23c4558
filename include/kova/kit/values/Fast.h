#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/Payload.h"
#include "kova/kit/Export.h"
#include "kova/kit/Limits.h"
#include "kova/kit/values/Reader.h"

// The fast path for reading and writing payloads. It uses the field reader and writer of the
// platform. A replacement platform may lack these.
#if __has_include("util/serializer/FieldReader.h")
#define KOVA_KIT_HAS_FAST_PATH 1
#include "util/serializer/FieldReader.h"
#include "util/serializer/FieldWriter.h"
#else
#define KOVA_KIT_HAS_FAST_PATH 0
#endif

#if KOVA_KIT_HAS_FAST_PATH
namespace kova::kit::detail {

/// The common base of the fast reader and writer. Its functions that describe a failure do nothing:
/// after a failure the general reader or writer processes the payload again from its beginning, and
/// either succeeds or finds the reason.
class Fast {
public:
    explicit Fast(const Limits& limits) noexcept
        : limits_(limits), maxDepth_(std::min(limits.depth, util::MAX_NESTING_DEPTH)) {}
    Fast(const Fast&) = delete;
    Fast& operator=(const Fast&) = delete;

    [[nodiscard]] bool enter() noexcept { return ++depth_ <= maxDepth_; }
    void leave() noexcept { --depth_; }
    [[nodiscard]] bool count(std::size_t elements) noexcept {
        elements_ += elements;
        return elements_ <= limits_.elements;
    }
    [[nodiscard]] bool checkText(std::size_t bytes) const noexcept {
        return bytes <= limits_.textBytes;
    }
    static bool refuse(std::string_view, std::string_view) noexcept { return false; }
    static bool inField(std::string_view) noexcept { return false; }
    static bool inElement(std::size_t) noexcept { return false; }

private:
    const Limits& limits_;
    const std::size_t maxDepth_;
    std::size_t depth_ = 0;
    std::size_t elements_ = 0;
};

/// The fast reader of a payload. It implements those functions of `Reader` for which a fast
/// implementation exists.
class FastReader final : public Fast {
public:
    using Format = util::serializer::FieldReader::Format;

    FastReader(Format format, std::string_view payload, const Limits& limits) noexcept
        : Fast(limits), in_(format, payload) {}

    bool begin() noexcept { return in_.begin(); }
    bool end() const noexcept { return in_.end(); }

    Kind kind() const noexcept {
        using Other = util::serializer::FieldReader::Kind;
        static_assert(static_cast<Kind>(Other::Null) == Kind::Null &&
                      static_cast<Kind>(Other::Number) == Kind::Number &&
                      static_cast<Kind>(Other::None) == Kind::None);
        return static_cast<Kind>(in_.kind());
    }
    bool null() noexcept { return in_.null(); }
    template <typename T>
    bool value(T& out) {
        return in_.value(out);
    }
    bool text(std::string_view& out) noexcept { return in_.text(out) && checkText(out.size()); }
    template <typename T>
    bool values(std::vector<T>& out) {
        return in_.values(out);
    }

    bool beginArray() noexcept { return in_.beginArray(); }
    bool atArrayEnd() const noexcept { return in_.atArrayEnd(); }
    static bool beginElement() noexcept { return true; }
    bool endElement() noexcept { return in_.endElement(); }
    bool endArray() noexcept { return in_.endArray(); }

    bool beginObject() noexcept { return in_.beginObject(); }
    bool atObjectEnd() const noexcept { return in_.atObjectEnd(); }
    bool beginField(std::string_view& name) noexcept { return in_.beginField(name); }
    bool skipField() noexcept { return in_.skipField(); }
    bool endField() noexcept { return in_.endField(); }
    bool endObject() noexcept { return in_.endObject(); }

private:
    util::serializer::FieldReader in_;
};

/// The fast writer of a payload. It implements those functions of `Writer` for which a fast
/// implementation exists.
class FastWriter final : public Fast {
public:
    using Format = util::serializer::FieldWriter::Format;

    FastWriter(Format format, util::ByteBufferWriter& bytes, const Limits& limits) noexcept
        : Fast(limits), isBinary_(format == Format::Binary), bytes_(bytes), out_(format, bytes) {}

    bool isBinary() const noexcept { return isBinary_; }
    /// @{
    /// Direct writing, as with `ByteBufferWriter`. `reserve` returns an address at which `count`
    /// bytes may be written, or null if memory is exhausted. `commit` marks the bytes up to its
    /// argument as written.
    unsigned char* reserve(std::size_t count) noexcept {
        return bytes_.reserve(count) ? nullptr : bytes_.end();
    }
    void commit(unsigned char const* end) noexcept { bytes_.commit(end); }
    /// @}
    /// Writes a field name that is too long for `EncodedName` or that JSON might escape. Returns
    /// the address after the name, at which `further` bytes are reserved; null on failure.
    KOVA_KIT_API unsigned char* putRareName(std::string_view name, std::size_t further,
                                            unsigned char* at) noexcept;

    bool null() noexcept { return out_.null(); }
    template <typename T>
    bool value(T value) noexcept {
        return out_.value(value);
    }
    template <typename T>
    bool values(const std::vector<T>& values) noexcept {
        return out_.values(values);
    }

    bool beginArray() noexcept { return out_.beginArray(); }
    bool beginElement() noexcept { return out_.beginElement(); }
    static bool endElement() noexcept { return true; }
    bool endArray() noexcept { return out_.endArray(); }

    bool beginObject() noexcept { return out_.beginObject(); }
    bool beginField(std::string_view name) noexcept { return out_.beginField(name); }
    static bool endField() noexcept { return true; }
    bool endObject() noexcept { return out_.endObject(); }

private:
    const bool isBinary_;
    util::ByteBufferWriter& bytes_;
    util::serializer::FieldWriter out_;
};

/// Reads a payload with the function `read(reader, out)`. Returns false if the general reader must
/// read the payload; `out` is then unspecified.
KOVA_KIT_API bool readFast(const Payload& payload, const Limits& limits,
                           bool (*read)(FastReader&, void*), void* out);

/// Writes a payload with the function `write(writer, value)`. Returns the empty payload if the
/// general writer must write the value.
KOVA_KIT_API Payload writeFast(const std::string& mimeType, const Limits& limits,
                               bool (*write)(FastWriter&, const void*), const void* value);

}  // namespace kova::kit::detail
#endif
