#include "contract/IncludeRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <ostream>
#include <string>

namespace {

namespace fs = std::filesystem;
using kova::test::checkIncludes;

TEST(IncludeRulesTest, SourcesOfKovaFollowTheRules) {
    const auto rules = checkIncludes(KOVA_SOURCE_DIR);
    for (const auto& violation : rules.violations) {
        ADD_FAILURE() << violation;
    }
    EXPECT_THAT(rules.files, testing::Each(testing::Gt(3U))) << "every layer was read";
}

// A small source tree that follows the rules. Each row adds or replaces one file.
constexpr char const* TREE[][2] = {
    {"platform/osal/include/osal/Mutex.h", "#include <pthread.h>"},
    {"platform/osal/src/Impl.h", ""},
    {"platform/zelcommon/include/zel/UUID.h", "#include \"osal/Mutex.h\""},
    {"platform/zelcommon/src/Sink.h", "#include <fmt/format.h>"},
    {"platform/zelutil/include/util/Value.h", "#include \"zel/UUID.h\""},
    {"platform/zelutil/src/Text.h", "#include <simdjson.h>"},
    {"platform/zelutil/CMakeLists.txt", "#include nothing"},
    {"include/kova/core/Path.h", "#include \"util/Value.h\""},
    {"src/core/datatypes/Path.cpp", "#include \"kova/core/Path.h\""},
    {"include/kova/core/Factory.h", "#include \"kova/core/Path.h\""},
    {"src/core/serializer/Factory.cpp", "#include \"kova/core/Factory.h\""},
    {"include/kova/core/IReader.h", "#include <kova/core/Factory.h>"},
    {"src/core/api/Tools.h", ""},
    {"src/core/servicecomposition/Routes.h", "#include \"api/Tools.h\""},
    {"include/kova/kit/Result.h", "#include \"kova/core/Path.h\""},
    {"src/kit/calls/Handle.h", "#include \"kova/kit/Result.h\""},
    {"src/wire/Loop.h", "#include \"kova/kit/Result.h\""},
    {"include/kova/http/Server.h", "#include \"kova/kit/Result.h\""},
    {"include/kova/nats/Server.h", "#include \"kova/kit/Result.h\""},
};

struct Row {
    char const* file;
    char const* include;
    /// A part of the reported reason, or empty if the file follows the rules.
    char const* reason;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) {
        return out << row.file << ": " << row.include;
    }
};

constexpr Row ROWS[] = {
    {"platform/osal/src/A.cpp", "#include \"osal/Mutex.h\"", ""},
    {"platform/osal/src/A.cpp", "#include \"Impl.h\"", ""},
    {"platform/osal/src/sub/A.cpp", "#include \"Impl.h\"", ""},
    {"platform/osal/src/sub/A.cpp", "#include \"../Impl.h\"", ""},
    {"platform/osal/src/A.cpp", "#include \"zel/UUID.h\"", "zelcommon is above osal"},
    {"platform/osal/src/A.cpp", "#include <zel/UUID.h>", "zelcommon is above osal"},
    {"platform/osal/src/A.cpp", "\t # include\t\"zel/UUID.h\" // why", "zelcommon is above osal"},
    {"platform/osal/src/A.cpp", "#include \"../../zelcommon/include/zel/UUID.h\"",
     "zelcommon is above osal"},
    {"platform/osal/include/osal/A.h", "#include \"kova/core/Path.h\"", "core is above osal"},
    {"platform/osal/include/osal/A.h", "#include \"Impl.h\"", "a public header includes a private"},
    {"platform/osal/src/A.cpp", "#include <fmt/format.h>", "osal does not use this library"},
    {"platform/osal/src/A.cpp", "#include \"nowhere.h\"", "is not found"},
    {"platform/osal/src/A.cpp", "#include CONFIG", "CONFIG: is not found"},
    {"platform/osal/src/A.cpp", "#include \"osal/Mutex.h", "is not found"},
    {"platform/osal/src/A.cpp", "#include <vector>", ""},
    {"platform/osal/src/A.cpp", "// #include \"zel/UUID.h\"", ""},
    {"platform/osal/src/A.cpp", "#define INCLUDE \"zel/UUID.h\"", ""},
    {"platform/osal/src/A.inc", "#include \"zel/UUID.h\"", "zelcommon is above osal"},
    {"platform/zelcommon/src/A.cpp", "#include \"osal/Mutex.h\"", ""},
    {"platform/zelcommon/src/A.cpp", "#include \"Impl.h\"", "is private to osal"},
    {"platform/zelcommon/src/A.cpp", "#include \"../../osal/src/Impl.h\"", "is private to osal"},
    {"platform/zelcommon/src/A.cpp", "#include \"util/Value.h\"", "zelutil is above zelcommon"},
    {"platform/zelcommon/src/A.cpp", "#include <nettle/sha1.h>", "zelcommon does not use this"},
    {"platform/zelcommon/include/zel/A.h", "#include <fmt/core.h>", "third-party library"},
    {"platform/zelutil/src/A.cpp", "#include \"osal/Mutex.h\"", ""},
    {"platform/zelutil/src/A.cpp", "#include <cbor/encoding.h>", ""},
    {"platform/zelutil/src/A.cpp", "#include \"kova/core/Path.h\"", "core is above zelutil"},
    {"platform/zelutil/src/A.cpp", "#include \"api/Tools.h\"", "core is above zelutil"},
    {"platform/zelutil/include/util/A.h", "#include <simdjson.h>", "third-party library"},
    {"src/core/api/A.cpp", "#include \"osal/Mutex.h\"", ""},
    {"src/core/api/A.cpp", "#include <fmt/format.h>", ""},
    {"src/core/api/A.cpp", "#include <simdjson.h>", "core does not use this library"},
    {"src/core/api/A.cpp", "#include \"Text.h\"", "is private to zelutil"},
    {"src/core/api/A.cpp", "#include \"Sink.h\"", "is private to zelcommon"},
    {"src/core/api/A.cpp", "#include \"kova/core/Path.h\"", "datatypes is above api"},
    {"src/core/api/A.cpp", "#include \"servicecomposition/Routes.h\"",
     "servicecomposition is above"},
    {"src/core/api/A.cpp", "#include \"../servicecomposition/Routes.h\"",
     "servicecomposition is above"},
    {"src/core/datatypes/A.cpp", "#include \"api/Tools.h\"", ""},
    {"src/core/datatypes/A.cpp", "#include \"kova/core/Factory.h\"",
     "serializer is above datatypes"},
    {"src/core/datatypes/A.cpp", "#include \"kova/core/IReader.h\"",
     "serializer is above datatypes"},
    {"src/core/utility/A.cpp", "#include \"kova/core/IReader.h\"", "serializer is above utility"},
    {"src/core/dovglobals/A.cpp", "#include \"kova/core/IReader.h\"", ""},
    {"src/core/A.cpp", "", "is in no module"},
    {"src/core/attic/A.h", "", "is in no module"},
    {"include/kova/core/Path.h", "#include \"kova/core/Factory.h\"",
     "serializer is above datatypes"},
    {"include/kova/core/Path.h", "#include \"api/Tools.h\"", "a public header includes a private"},
    {"include/kova/core/A.h", "#include \"kova/core/Factory.h\"", ""},
    {"include/kova/core/A.h", "#include <fmt/format.h>", "third-party library"},
    {"src/core/api/A.cpp", "#include \"kova/kit/Result.h\"", "kit is above core"},
    {"platform/zelutil/src/A.cpp", "#include \"kova/kit/Result.h\"", "kit is above zelutil"},
    {"src/kit/A.cpp", "#include \"kova/core/Factory.h\"", ""},
    {"src/kit/A.cpp", "#include \"util/Value.h\"", ""},
    {"src/kit/A.cpp", "#include \"api/Tools.h\"", "is private to core"},
    {"src/kit/A.cpp", "#include <fmt/format.h>", "kit does not use this library"},
    {"include/kova/kit/A.h", "#include \"calls/Handle.h\"", "a public header includes a private"},
    {"src/kit/A.cpp", "#include <CLI/CLI.hpp>", "kit does not use this library"},
    {"src/wire/A.cpp", "#include \"wire/Loop.h\"", ""},
    {"src/wire/A.cpp", "#include \"calls/Handle.h\"", "is private to kit"},
    {"src/wire/A.cpp", "#include \"kova/http/Server.h\"", "http is above wire"},
    {"src/kit/A.cpp", "#include \"wire/Loop.h\"", "wire is above kit"},
    {"src/http/A.cpp", "#include \"wire/Loop.h\"", ""},
    {"src/http/A.cpp", "#include \"kova/nats/Server.h\"", "nats is above http"},
    {"src/http/A.cpp", "#include <nats/nats.h>", "http does not use this library"},
    {"src/nats/A.cpp", "#include \"wire/Loop.h\"", ""},
    {"src/nats/A.cpp", "#include <nats/nats.h>", ""},
    {"src/nats/A.cpp", "#include \"kova/http/Server.h\"", "nats does not use another transport"},
    {"include/kova/nats/A.h", "#include \"wire/Loop.h\"", "a public header includes a private"},
    {"include/kova/nats/A.h", "#include <nats/nats.h>", "third-party library"},
    {"src/tool/words/A.cpp", "#include \"wire/Loop.h\"", "is private to wire"},
    {"src/tool/words/A.cpp", "#include \"kova/nats/Server.h\"", ""},
    {"src/tool/words/A.cpp", "#include <CLI/CLI.hpp>", ""},
    {"src/tool/words/A.cpp", "#include \"kova/kit/Result.h\"", ""},
    {"src/tool/words/A.cpp", "#include \"calls/Handle.h\"", "is private to kit"},
};

class IncludeRulesRowTest : public testing::TestWithParam<Row> {
protected:
    IncludeRulesRowTest() {
        std::string name = testing::TempDir() + "/kova_include_rules_XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        root_ = name;
        for (const auto& [file, text] : TREE) {
            write(file, text);
        }
    }
    ~IncludeRulesRowTest() override { fs::remove_all(root_); }

    void write(const fs::path& file, std::string_view text) const {
        fs::create_directories((root_ / file).parent_path());
        std::ofstream(root_ / file) << "#pragma once\n" << text << '\n';
    }

    fs::path root_;
};

TEST_P(IncludeRulesRowTest, ReportsExactlyTheExpectedViolation) {
    const Row& row = GetParam();
    write(row.file, row.include);
    const auto violations = checkIncludes(root_).violations;
    if (*row.reason == '\0') {
        EXPECT_THAT(violations, testing::IsEmpty());
    } else {
        EXPECT_THAT(violations,
                    testing::ElementsAre(testing::AllOf(testing::StartsWith(row.file),
                                                        testing::HasSubstr(row.reason))));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, IncludeRulesRowTest, testing::ValuesIn(ROWS),
                         [](const auto& info) { return "Row" + std::to_string(info.index); });

}  // namespace
