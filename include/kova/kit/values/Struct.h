#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <string_view>

#include "kova/kit/values/Codec.h"
#include "kova/kit/values/Fast.h"
#include "kova/kit/values/FastStruct.h"
#include "kova/kit/values/FieldTable.h"

// The codec of structs. Payloads contain a struct as an object, whose fields are read in any order.
namespace kova::kit::detail {

/// The maximum number of fields of a struct.
constexpr std::size_t MAX_FIELDS = 256;

/// The functions that read a field of a struct.
template <class In>
struct ReadRow {
    std::string_view name;
    bool isMandatory;
    bool (*read)(In& in, void* object);
    /// Resets the member to its default. Null if reading replaces the whole member.
    void (*reset)(void* object);
};

/// The functions that write a field of a struct.
template <class Out>
struct WriteRow {
    std::string_view name;
    bool (*write)(Out& out, const void* object);
    /// Returns whether the field is written. Null if the field is always written.
    bool (*isPresent)(const void* object);
};

/// The table of a struct's fields that the reading functions use.
template <class In>
struct ReadTable {
    const ReadRow<In>* rows;
    std::size_t size;
    bool isStrict;

    /// Returns the index of the field, or `size` if the table has no such field. Begins the search
    /// at `first`, because most payloads have the fields in the order of the table.
    std::size_t find(std::string_view name, std::size_t first) const noexcept {
        if (first < size && isSameName(rows[first].name, name)) {
            return first;
        }
        std::size_t at = 0;
        while (at < size && !isSameName(rows[at].name, name)) {
            ++at;
        }
        return at;
    }
};

/// The fields of a struct that were read.
struct SeenFields {
    std::bitset<MAX_FIELDS> fields;
    std::size_t count = 0;  // the number of fields read, not counting repetitions
};

/// Skips a field that is not in the table, or fails if the struct is strict.
template <class In>
bool skipUnknown(In& in, const ReadTable<In>& table, std::string_view name) {
    if (!table.isStrict) {
        return in.skipField();
    }
    return in.refuse("no other field", State::quoted(name));
}

/// Reads the fields of the open object, and records them in `seen`.
template <class In>
bool readFields(In& in, const ReadTable<In>& table, void* object, SeenFields& seen) {
    std::size_t next = 0;
    while (!in.atObjectEnd()) {
        std::string_view name;
        if (!in.beginField(name)) {
            return false;
        }
        const std::size_t at = table.find(name, next);
        if (at == table.size) {
            if (!skipUnknown(in, table, name)) {
                return false;
            }
            continue;
        }
        const ReadRow<In>& row = table.rows[at];
        const bool isRepeated = seen.fields[at];
        if (isRepeated && row.reset != nullptr) {
            row.reset(object);
        }
        if (!row.read(in, object) || !in.endField()) {
            return in.inField(row.name);
        }
        seen.fields[at] = true;
        seen.count += isRepeated ? 0 : 1;
        next = at + 1;
    }
    return true;
}

/// Reads an object in one pass. Fails if a mandatory field is missing.
template <class In>
bool readStruct(In& in, const ReadTable<In>& table, void* object) {
    SeenFields seen;
    if (!in.enter() || !in.beginObject() || !readFields(in, table, object, seen)) {
        return false;
    }
    for (std::size_t i = 0; seen.count != table.size && i < table.size; ++i) {
        if (table.rows[i].isMandatory && !seen.fields[i]) {
            return in.refuse("the field " + State::quoted(table.rows[i].name),
                             "a struct without it");
        }
    }
    in.leave();
    return in.endObject();
}

/// Writes an object with those fields that are present, in the order of the table.
template <class Out>
bool writeStruct(Out& out, const WriteRow<Out>* rows, std::size_t size, const void* object) {
    if (!out.enter() || !out.beginObject()) {
        return false;
    }
    for (std::size_t i = 0; i < size; ++i) {
        if (rows[i].isPresent != nullptr && !rows[i].isPresent(object)) {
            continue;
        }
        if (!out.beginField(rows[i].name) || !rows[i].write(out, object) || !out.endField()) {
            return out.inField(rows[i].name);
        }
    }
    out.leave();
    return out.endObject();
}

extern template KOVA_KIT_API bool readStruct<Reader>(Reader&, const ReadTable<Reader>&, void*);
extern template KOVA_KIT_API bool writeStruct<Writer>(Writer&, const WriteRow<Writer>*, std::size_t,
                                                      const void*);

#if KOVA_KIT_HAS_FAST_PATH
extern template KOVA_KIT_API bool readStruct<FastReader>(FastReader&, const ReadTable<FastReader>&,
                                                         void*);
#endif

/// Whether reading into a member may leave parts of its former value. If so, the member must be
/// reset before a repeated field is read.
template <typename T>
inline constexpr bool keepsParts = hasFields<T>;
template <typename T, std::size_t N>
inline constexpr bool keepsParts<std::array<T, N>> = keepsParts<T>;

/// The functions for the field `I` of the struct `T`.
template <typename T, std::size_t I>
struct FieldOf {
    using Type = std::decay_t<decltype(flatField<T, I>())>;
    using Member = typename Type::Member;
    using MemberCodec = FieldCodec<Member, typename Type::Form>;
    static constexpr const Type& field() noexcept { return flatField<T, I>(); }

    template <class In>
    static bool read(In& in, void* object) {
        return MemberCodec::read(in, static_cast<T*>(object)->*field().member);
    }
    template <class Out>
    static bool write(Out& out, const void* object) {
        return MemberCodec::write(out, static_cast<const T*>(object)->*field().member);
    }
    static void reset(void* object) {
        T fresh{};
        static_cast<T*>(object)->*field().member = std::move(fresh.*field().member);
    }
    static bool hasValue(const void* object) {
        return (static_cast<const T*>(object)->*field().member).has_value();
    }

    template <class In>
    static constexpr ReadRow<In> readRow() {
        ReadRow<In> row{field().name, !field().isOptional && !isOptional<Member>, &read<In>,
                        nullptr};
        if constexpr (keepsParts<Member>) {
            row.reset = &reset;
        }
        return row;
    }
    template <class Out>
    static constexpr WriteRow<Out> writeRow() {
        WriteRow<Out> row{field().name, &write<Out>, nullptr};
        if constexpr (isOptional<Member>) {
            row.isPresent = &hasValue;
        }
        return row;
    }
};

template <class In, typename T, std::size_t... I>
constexpr std::array<ReadRow<In>, sizeof...(I)> makeReadRows(std::index_sequence<I...>) {
    return {{FieldOf<T, I>::template readRow<In>()...}};
}

template <class Out, typename T, std::size_t... I>
constexpr std::array<WriteRow<Out>, sizeof...(I)> makeWriteRows(std::index_sequence<I...>) {
    return {{FieldOf<T, I>::template writeRow<Out>()...}};
}

/// @{
/// The table of a struct's fields for a reader or writer.
template <class In, typename T>
inline constexpr auto readRows = makeReadRows<In, T>(std::make_index_sequence<fieldCount<T>>());
template <class Out, typename T>
inline constexpr auto writeRows = makeWriteRows<Out, T>(std::make_index_sequence<fieldCount<T>>());
/// @}

/// The codec of a struct whose fields are described.
template <typename T>
struct Codec<T, std::enable_if_t<hasFields<T>>> {
    static constexpr Kind KIND = Kind::Object;
    template <class In>
    static bool read(In& in, T& out) {
        static_assert(fieldCount<T> <= MAX_FIELDS, "a struct has at most 256 fields");
        static_assert(namesDiffer<T>, "two fields of this struct have the same name");
        return readStruct(
            in, ReadTable<In>{readRows<In, T>.data(), fieldCount<T>, fieldsOf<T>.isStrict()}, &out);
    }
    template <class Out>
    static bool write(Out& out, const T& value) {
        static_assert(namesDiffer<T>, "two fields of this struct have the same name");
        if constexpr (std::is_base_of_v<Writer, Out>) {
            return writeStruct(out, writeRows<Out, T>.data(), fieldCount<T>, &value);
        } else {
            return writeFastStruct(out, value, std::make_index_sequence<fieldCount<T>>());
        }
    }
};

}  // namespace kova::kit::detail
