#include "OutputFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "support/TemporaryFolder.h"

namespace kova::tool {
namespace {

TEST(OutputFileTest, FileIsReplacedAndReadableOnlyByItsOwner) {
    const test::TemporaryFolder folder;
    for (char const* text : {"longer text", "text"}) {
        OutputFile file(folder / "a");
        ASSERT_TRUE(file.open());
        file.write(text);
        EXPECT_TRUE(file.close());
    }
    struct stat status {};
    ASSERT_EQ(::stat((folder / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 4);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(OutputFileTest, CloseReportsAnEarlierFailure) {
    const test::TemporaryFolder folder;
    OutputFile missing(folder / "none/a");
    EXPECT_FALSE(missing.open());
    EXPECT_EQ(missing.reason(), "No such file or directory");
    OutputFile full("/dev/full");
    ASSERT_TRUE(full.open());
    full.write("a");
    EXPECT_TRUE(full.hasFailed());
    EXPECT_FALSE(full.close());
    EXPECT_EQ(full.reason(), "No space left on device");
}

}  // namespace
}  // namespace kova::tool
