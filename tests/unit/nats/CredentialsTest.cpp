#include "nats/Credentials.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/TemporaryFolder.h"

namespace kova::nats::detail {
namespace {

using test::writeFile;

constexpr char const* JWT = "-----BEGIN NATS USER JWT-----\nabc\n------END NATS USER JWT------\n\n";

class CredentialsTest : public ::testing::Test {
protected:
    std::string refusalOf(const std::string& name) const {
        const kit::Result<void> result = checkCredentials(folder / name);
        return result ? "" : std::to_string(result.error().code) + " " + result.error().message;
    }
    std::string refusalOfText(const std::string& text) const {
        writeFile(folder / "user.creds", text);
        return refusalOf("user.creds");
    }
    std::string refusal(const std::string& name, const std::string& reason) const {
        return "503 the credentials file '" + (folder / name) + "' " + reason;
    }

    const test::TemporaryFolder folder;
};

TEST_F(CredentialsTest, FileWithAJwtIsAccepted) {
    EXPECT_EQ(refusalOfText(JWT), "");
    EXPECT_EQ(refusalOfText("\r\nfor the car\r\n" + std::string(JWT)), "");
}

TEST_F(CredentialsTest, LinkToAFileIsFollowed) {
    writeFile(folder / "data", JWT);
    std::filesystem::create_symlink(folder / "data", folder / "link.creds");
    EXPECT_EQ(refusalOf("link.creds"), "");
}

TEST_F(CredentialsTest, FileThatCannotBeReadIsRefused) {
    EXPECT_EQ(refusalOf("missing"),
              refusal("missing", "cannot be read: No such file or directory"));
    writeFile(folder / "file", JWT);
    EXPECT_EQ(refusalOf("file/user"), refusal("file/user", "cannot be read: Not a directory"));
    EXPECT_EQ(refusalOf(""), refusal("", "is not a regular file"));
}

TEST_F(CredentialsTest, FileWithoutAJwtIsRefused) {
    for (char const* text : {"", "\n", "abc", "-----BEGIN USER NKEY SEED-----\nSU\n"}) {
        EXPECT_EQ(refusalOfText(text), refusal("user.creds", "has no JWT of a user")) << text;
    }
}

TEST_F(CredentialsTest, FileUpToTheLimitIsAccepted) {
    const std::string longest =
        JWT + std::string(LONGEST_CREDENTIALS - std::string(JWT).size(), 'x');
    EXPECT_EQ(refusalOfText(longest), "");
    EXPECT_EQ(refusalOfText(longest + "x"), refusal("user.creds", "has more than 65536 bytes"));
}

}  // namespace
}  // namespace kova::nats::detail
