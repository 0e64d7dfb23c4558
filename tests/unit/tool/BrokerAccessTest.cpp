#include "BrokerAccess.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <string>
#include <vector>

namespace kova::tool {
namespace {

struct Row {
    std::string BrokerAccess::*member;
    char const* variable;
    char const* option;
};

const std::vector<Row> ROWS = {
    {&BrokerAccess::user, "KOVA_NATS_USER", "--user"},
    {&BrokerAccess::password, "KOVA_NATS_PASSWORD", ""},
    {&BrokerAccess::token, "KOVA_NATS_TOKEN", ""},
    {&BrokerAccess::nkey, "KOVA_NATS_NKEY", "--nkey"},
    {&BrokerAccess::nkeySeedFile, "KOVA_NATS_NKEY_SEED", "--nkey-seed"},
    {&BrokerAccess::credentialsFile, "KOVA_NATS_CREDS", "--creds"},
    {&BrokerAccess::caFile, "KOVA_NATS_CA", "--ca"},
    {&BrokerAccess::certificateFile, "KOVA_NATS_CERT", "--cert"},
    {&BrokerAccess::keyFile, "KOVA_NATS_KEY", "--key"},
    {&BrokerAccess::prefix, "KOVA_NATS_PREFIX", "--prefix"},
    {&BrokerAccess::inboxPrefix, "KOVA_NATS_INBOX_PREFIX", "--inbox-prefix"},
};

class BrokerAccessTest : public testing::Test {
protected:
    ~BrokerAccessTest() override {
        for (const Row& row : ROWS) {
            ::unsetenv(row.variable);
        }
    }
};

TEST_F(BrokerAccessTest, EachVariableSetsItsMember) {
    for (const Row& row : ROWS) {
        const BrokerAccess before = BrokerAccess::ofEnvironment();
        EXPECT_EQ(before.*row.member, BrokerAccess().*row.member) << row.variable;
        ::setenv(row.variable, row.variable, 1);
        const BrokerAccess access = BrokerAccess::ofEnvironment();
        EXPECT_EQ(access.*row.member, row.variable);
        ::setenv(row.variable, "", 1);
        const BrokerAccess empty = BrokerAccess::ofEnvironment();
        EXPECT_EQ(empty.*row.member, BrokerAccess().*row.member) << row.variable;
    }
}

TEST_F(BrokerAccessTest, OptionsReplaceTheVariablesExceptSecrets) {
    for (const Row& row : ROWS) {
        ::setenv(row.variable, "variable", 1);
        BrokerAccess access = BrokerAccess::ofEnvironment();
        CLI::App app;
        addBrokerAccess(app, access);
        const std::string option = row.option;
        std::vector<std::string> words;
        if (!option.empty()) {
            words = {"option", option};  // in the reverse order, as the parser wants them
        }
        app.parse(words);
        EXPECT_EQ(access.*row.member, option.empty() ? "variable" : "option") << row.variable;
    }
}

TEST_F(BrokerAccessTest, SecretsHaveNoOption) {
    BrokerAccess access;
    CLI::App app;
    addBrokerAccess(app, access);
    for (char const* option : {"--password", "--token"}) {
        EXPECT_EQ(app.get_option_no_throw(option), nullptr) << option;
    }
}

}  // namespace
}  // namespace kova::tool
