#include "BrokerAccess.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cstdlib>

namespace kova::tool {

namespace {

/// A member, the variable that sets it, and its option.
struct Row {
    std::string BrokerAccess::*member;
    char const* variable;
    /// Null for secrets.
    char const* option;
    char const* type;
    char const* description;
};

constexpr std::array<Row, 11> ROWS{{
    {&BrokerAccess::user, "KOVA_NATS_USER", "--user", "NAME",
     "the user at the broker; the password is in the variable KOVA_NATS_PASSWORD"},
    {&BrokerAccess::password, "KOVA_NATS_PASSWORD", nullptr, nullptr, nullptr},
    {&BrokerAccess::token, "KOVA_NATS_TOKEN", nullptr, nullptr, nullptr},
    {&BrokerAccess::nkey, "KOVA_NATS_NKEY", "--nkey", "KEY",
     "the public NKey for the broker; its seed is in the file of --nkey-seed"},
    {&BrokerAccess::nkeySeedFile, "KOVA_NATS_NKEY_SEED", "--nkey-seed", "FILE",
     "the file with the seed of the NKey"},
    {&BrokerAccess::credentialsFile, "KOVA_NATS_CREDS", "--creds", "FILE",
     "the credentials file of the user"},
    {&BrokerAccess::caFile, "KOVA_NATS_CA", "--ca", "FILE",
     "the certificates (PEM) of the authorities of the broker"},
    {&BrokerAccess::certificateFile, "KOVA_NATS_CERT", "--cert", "FILE",
     "the certificate (PEM) to show to the broker"},
    {&BrokerAccess::keyFile, "KOVA_NATS_KEY", "--key", "FILE", "the key (PEM) of the certificate"},
    {&BrokerAccess::prefix, "KOVA_NATS_PREFIX", "--prefix", "SUBJECT",
     "the first tokens of all subjects [kova]"},
    {&BrokerAccess::inboxPrefix, "KOVA_NATS_INBOX_PREFIX", "--inbox-prefix", "SUBJECT",
     "the first tokens of the subjects of answers [_INBOX]"},
}};

}  // namespace

BrokerAccess BrokerAccess::ofEnvironment() {
    BrokerAccess access;
    for (const Row& row : ROWS) {
        char const* const value = std::getenv(row.variable);
        if (value != nullptr && *value != '\0') {
            access.*row.member = value;
        }
    }
    return access;
}

void addBrokerAccess(CLI::App& app, BrokerAccess& access) {
    for (const Row& row : ROWS) {
        if (row.option != nullptr) {
            app.add_option(row.option, access.*row.member, row.description)
                ->type_name(row.type)
                ->group("Options for addresses of brokers (nats:, tls:)");
        }
    }
}

}  // namespace kova::tool
