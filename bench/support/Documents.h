#pragma once

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <string>

#include "support/Inputs.h"

namespace kova::bench {

/// The size of a typical document of a service: 300 bytes or 1 MB.
struct DocumentSize {
    char const* name;
    std::size_t records;
};
constexpr std::array<DocumentSize, 2> DOCUMENT_SIZES = {{{"300 B", 1}, {"1 MB", 3600}}};

/// Returns the JSON text of a random record.
inline std::string record(Random& random) {
    return fmt::format(
        R"({{"id":{},"name":"item {}","path":"/media/player/tracks/{}","active":{},)"
        R"("volume":{:.2f},"position":{{"lat":{:.6f},"lon":{:.6f}}},"tags":["a{}","grün","c"],)"
        R"("owner":null,"history":[{},{},{},{}],"note":"line one\nline two \"quoted\" end"}})",
        random.number(1, 1'000'000), random.number(1, 1'000'000), random.number(1, 9999),
        random.number(0, 1) == 1 ? "true" : "false", random.real(0, 100), random.real(-90, 90),
        random.real(-180, 180), random.number(0, 99), random.number(-1000, 1000),
        random.number(0, 100), random.number(0, 10), random.number(0, 100'000));
}

/// Returns the JSON text of a document: one record, or an object with an array of records.
inline std::string document(const DocumentSize& size) {
    Random random;
    if (size.records == 1) {
        return record(random);
    }
    std::string text = R"({"records":[)";
    for (std::size_t i = 0; i < size.records; ++i) {
        text += (i == 0 ? "" : ",") + record(random);
    }
    return text + "]}";
}

/// Returns the number of nodes in the tree of a document, containers included.
inline std::size_t nodes(const DocumentSize& size) {
    constexpr std::size_t NODES_PER_RECORD = 20;
    return size.records * NODES_PER_RECORD + (size.records == 1 ? 0 : 2);
}

/// @{
/// Returns the names of the cases with JSON.
inline std::string readCase(const DocumentSize& size) {
    return std::string("JSON to tree, ") + size.name;
}
inline std::string heapCase(const DocumentSize& size) {
    return std::string("heap of the tree, ") + size.name;
}
inline std::string writeCase(const DocumentSize& size) {
    return std::string("tree to JSON, ") + size.name;
}
/// @}
/// @{
/// Returns the names of the cases with the binary format.
inline std::string toBinaryCase(const DocumentSize& size) {
    return std::string("tree to binary, ") + size.name;
}
inline std::string fromBinaryCase(const DocumentSize& size) {
    return std::string("binary to tree, ") + size.name;
}
/// @}

}  // namespace kova::bench
