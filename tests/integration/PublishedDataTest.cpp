// Tests with published data for parsers. The environment variable KOVA_PUBLISHED_DATA names a
// folder; the files can be anywhere below it. This project does not distribute the data: without
// the folder, these tests are skipped. The unit tests of the parsers contain the examples of RFC
// 8949 and further JSON texts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/TypeSerializers.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"

namespace kova::test {
namespace {

using util::config::Value;

/// Returns the contents of the files below the folder whose names match, by name.
std::map<std::string, std::string> published(const std::string& namePattern) {
    char const* const folder = std::getenv("KOVA_PUBLISHED_DATA");
    const std::regex pattern(namePattern);
    std::map<std::string, std::string> files;
    if (folder == nullptr) {
        return files;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (entry.is_regular_file() && std::regex_match(name, pattern)) {
            std::ostringstream text;
            text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            files[name] = text.str();
        }
    }
    return files;
}

constexpr char const* NO_SUITE = "no JSONTestSuite below the folder of KOVA_PUBLISHED_DATA";
constexpr char const* NO_VECTORS = "no appendix_a.json below the folder of KOVA_PUBLISHED_DATA";

std::unique_ptr<util::serializer::IStructuredPullDeserializer> begun(
    mimetypes::MimeTypeID mimeType, util::ByteBufferReader& reader) {
    std::unique_ptr<util::serializer::IStructuredPullDeserializer> from(
        serializer::Factory::createDeserializer(mimeType));
    return from->beginDeserialize(&reader, nullptr) ? nullptr : std::move(from);
}

util::ByteBufferReader readerOf(const std::string& bytes) {
    return {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), false};
}

/// Returns whether JSONParser accepts the text. Checks that the payload reader agrees and that an
/// accepted text round-trips through printing.
bool isAccepted(const std::string& name, const std::string& text) {
    const Tree tree = parseTree(text);
    util::ByteBufferReader reader = readerOf(text);
    EXPECT_EQ(begun(mimetypes::JSON, reader) != nullptr, tree != nullptr) << name;
    if (tree != nullptr) {
        const Tree again = parseTree(tree->toJson(true));
        EXPECT_TRUE(again != nullptr && *again == *tree) << name;
    }
    return tree != nullptr;
}

// ---- JSONTestSuite, "Parsing JSON is a minefield"

TEST(PublishedJson, ValidTextsAreAccepted) {
    const auto files = published("y_.*\\.json");
    if (files.empty()) {
        GTEST_SKIP() << NO_SUITE;
    }
    for (const auto& [name, text] : files) {
        EXPECT_TRUE(isAccepted(name, text)) << name;
    }
}

TEST(PublishedJson, InvalidTextsAreRejected) {
    const auto files = published("n_.*\\.json");
    if (files.empty()) {
        GTEST_SKIP() << NO_SUITE;
    }
    for (const auto& [name, text] : files) {
        EXPECT_FALSE(isAccepted(name, text)) << name;
    }
}

struct Decision {
    char const* name;
    bool accepted;
};

/// The expected outcome of texts that a parser may accept or reject. Numbers that round to zero are
/// accepted. Rejected are numbers out of range, ill-formed UTF-8, lone surrogates, a byte order
/// mark, and nesting beyond `util::MAX_NESTING_DEPTH`.
constexpr Decision DECISIONS[] = {
    {"i_number_double_huge_neg_exp.json", true},
    {"i_number_huge_exp.json", false},
    {"i_number_neg_int_huge_exp.json", false},
    {"i_number_pos_double_huge_exp.json", false},
    {"i_number_real_neg_overflow.json", false},
    {"i_number_real_pos_overflow.json", false},
    {"i_number_real_underflow.json", true},
    {"i_number_too_big_neg_int.json", false},
    {"i_number_too_big_pos_int.json", false},
    {"i_number_very_big_negative_int.json", false},
    {"i_object_key_lone_2nd_surrogate.json", false},
    {"i_string_1st_surrogate_but_2nd_missing.json", false},
    {"i_string_1st_valid_surrogate_2nd_invalid.json", false},
    {"i_string_UTF-16LE_with_BOM.json", false},
    {"i_string_UTF-8_invalid_sequence.json", false},
    {"i_string_UTF8_surrogate_U+D800.json", false},
    {"i_string_incomplete_surrogate_and_escape_valid.json", false},
    {"i_string_incomplete_surrogate_pair.json", false},
    {"i_string_incomplete_surrogates_escape_valid.json", false},
    {"i_string_invalid_lonely_surrogate.json", false},
    {"i_string_invalid_surrogate.json", false},
    {"i_string_invalid_utf-8.json", false},
    {"i_string_inverted_surrogates_U+1D11E.json", false},
    {"i_string_iso_latin_1.json", false},
    {"i_string_lone_second_surrogate.json", false},
    {"i_string_lone_utf8_continuation_byte.json", false},
    {"i_string_not_in_unicode_range.json", false},
    {"i_string_overlong_sequence_2_bytes.json", false},
    {"i_string_overlong_sequence_6_bytes.json", false},
    {"i_string_overlong_sequence_6_bytes_null.json", false},
    {"i_string_truncated-utf-8.json", false},
    {"i_string_utf16BE_no_BOM.json", false},
    {"i_string_utf16LE_no_BOM.json", false},
    {"i_structure_500_nested_arrays.json", false},
    {"i_structure_UTF-8_BOM_empty_object.json", false},
};

TEST(PublishedJson, TextsThatParsersMayAcceptOrRejectHaveTheExpectedOutcome) {
    const auto files = published("i_.*\\.json");
    if (files.empty()) {
        GTEST_SKIP() << NO_SUITE;
    }
    std::set<std::string> decided;
    for (const Decision& decision : DECISIONS) {
        decided.insert(decision.name);
        const auto file = files.find(decision.name);
        if (file != files.end()) {
            EXPECT_EQ(isAccepted(file->first, file->second), decision.accepted) << decision.name;
        }
    }
    for (const auto& [name, text] : files) {
        EXPECT_EQ(decided.count(name), 1U) << name << " has no expected outcome";
    }
}

// ---- RFC 8949, appendix A, as appendix_a.json

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

/// Returns the node's JSON text, or "nan", "inf" or "-inf" for numbers without a JSON form.
std::string describe(const Value& value) {
    double number = 0;
    if (!value.isFloat() || value.get(number) || std::isfinite(number)) {
        return value.toJson(true);
    }
    return std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf";
}

/// Reads the item as the element of an array. Returns its description, or "refused".
std::string readItem(const std::string& item) {
    const std::string payload = '\x81' + item;
    util::ByteBufferReader reader = readerOf(payload);
    const auto from = begun(mimetypes::AXOBin, reader);
    util::config::Array array;
    if (from == nullptr || serializer::deserialize(*from, array) || array.arraySize() != 1) {
        return "refused";
    }
    return describe(array[0]);
}

struct Item {
    char const* hex;
    char const* outcome;
};

/// The expected outcome of items that differ from the published value or have no published JSON
/// value. The format has no integers beyond 64 bits, no tags except those of typed arrays, no other
/// simple values and only strings as keys; byte strings are read as strings.
constexpr Item DECIDED[] = {
    {"c249010000000000000000", "refused"},
    {"c349010000000000000000", "refused"},
    {"3bffffffffffffffff", "refused"},
    {"f97c00", "inf"},
    {"f97e00", "nan"},
    {"f9fc00", "-inf"},
    {"fa7f800000", "inf"},
    {"fa7fc00000", "nan"},
    {"faff800000", "-inf"},
    {"fb7ff0000000000000", "inf"},
    {"fb7ff8000000000000", "nan"},
    {"fbfff0000000000000", "-inf"},
    {"f7", "null"},
    {"f0", "refused"},
    {"f818", "refused"},
    {"f8ff", "refused"},
    {"c074323031332d30332d32315432303a30343a30305a", "refused"},
    {"c11a514b67b0", "refused"},
    {"c1fb41d452d9e8200000", "refused"},
    {"d74401020304", "refused"},
    {"d818456449455446", "refused"},
    {"d82076687474703a2f2f7777772e6578616d706c652e636f6d", "refused"},
    {"40", R"("")"},
    {"4401020304", R"("\u0001\u0002\u0003\u0004")"},
    {"a201020304", "refused"},
    {"5f42010243030405ff", R"("\u0001\u0002\u0003\u0004\u0005")"},
};

/// Returns the expected outcome for the item, or nullopt if none exists.
std::optional<std::string> expectedOutcome(const Value& vector, const std::string& hex) {
    for (const Item& item : DECIDED) {
        if (hex == item.hex) {
            return item.outcome;
        }
    }
    if (!vector.hasKey("decoded")) {
        return std::nullopt;
    }
    std::string integer;
    const bool quoted = vector.hasKey("quoted") && !vector["decoded"].get(integer);
    return quoted ? integer : vector["decoded"].toJson(true);
}

/// Parses the vectors. Puts integers of 20 or more digits into quotation marks, because not all
/// fit.
Tree vectorsOf(const std::string& text) {
    const std::regex integer(R"re("decoded"(\s*:\s*)(-?\d{20,})(?![.\d]))re");
    return parseTree(std::regex_replace(text, integer, R"("quoted":true,"decoded"$1"$2")"));
}

TEST(PublishedCbor, TestVectorsHaveThePublishedOrTheExpectedOutcome) {
    const auto files = published("appendix_a\\.json");
    if (files.empty()) {
        GTEST_SKIP() << NO_VECTORS;
    }
    const Tree vectors = vectorsOf(files.begin()->second);
    ASSERT_NE(vectors, nullptr);
    EXPECT_GE(vectors->arraySize(), 80U);
    for (std::size_t i = 0; i < vectors->arraySize(); ++i) {
        const Value& vector = (*vectors)[i];
        std::string hex;
        ASSERT_FALSE(vector["hex"].get(hex)) << i;
        const auto expected = expectedOutcome(vector, hex);
        ASSERT_TRUE(expected) << hex << " has no expected outcome";
        EXPECT_EQ(readItem(fromHex(hex)), *expected) << hex;
    }
}

}  // namespace
}  // namespace kova::test
