// Ten types of ten fields that are written and read in both formats. Nothing runs this: the time of
// its compilation and the size of its object are figures of bench/RESULTS.md. With
// KOVA_BENCH_ONE_TYPE it has only the first type.
#include <cstdint>
#include <string>

#include "kova/kit/Values.h"

// NOLINTBEGIN(bugprone-macro-parentheses)
#define KOVA_BENCH_TYPE(Name)                                                              \
    struct Name {                                                                          \
        std::int32_t number = 0;                                                           \
        std::int64_t id = 0;                                                               \
        std::uint32_t length = 0;                                                          \
        bool liked = false;                                                                \
        double gain = 0;                                                                   \
        double rating = 0;                                                                 \
        std::string title;                                                                 \
        std::string artist;                                                                \
        std::string album;                                                                 \
        std::int32_t year = 0;                                                             \
    };                                                                                     \
    KOVA_FIELDS(Name, number, id, length, liked, gain, rating, title, artist, album, year) \
    kit::Result<Payload> write(const Name& value, const std::string& mimeType) {           \
        return kit::toPayload(value, mimeType);                                            \
    }                                                                                      \
    kit::Result<Name> read##Name(const Payload& payload) {                                 \
        return kit::fromPayload<Name>(payload);                                            \
    }
// NOLINTEND(bugprone-macro-parentheses)

namespace kova::bench {

KOVA_BENCH_TYPE(Type0)
#ifndef KOVA_BENCH_ONE_TYPE
KOVA_BENCH_TYPE(Type1)
KOVA_BENCH_TYPE(Type2)
KOVA_BENCH_TYPE(Type3)
KOVA_BENCH_TYPE(Type4)
KOVA_BENCH_TYPE(Type5)
KOVA_BENCH_TYPE(Type6)
KOVA_BENCH_TYPE(Type7)
KOVA_BENCH_TYPE(Type8)
KOVA_BENCH_TYPE(Type9)
#endif

}  // namespace kova::bench
