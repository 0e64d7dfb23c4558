#pragma once

#include <chrono>
#include <string>

namespace CLI {
class App;
}

namespace kova::tool {

/// How the program logs in to a broker, and how it talks through it. Each member is that of
/// `kova::nats::BrokerOptions` with the same meaning. A value type, also in a program without
/// libkova_nats.
///
///     BrokerAccess access = BrokerAccess::ofEnvironment();
///     addBrokerAccess(app, access);
///     app.parse(arguments);
struct BrokerAccess {
    std::string user;
    std::string password;
    std::string token;
    std::string nkey;
    std::string nkeySeedFile;
    std::string credentialsFile;
    std::string caFile;
    std::string certificateFile;
    std::string keyFile;
    std::string prefix = "kova";
    std::string inboxPrefix = "_INBOX";
    std::chrono::milliseconds heartbeat{5000};

    /// Returns the access that the variables KOVA_NATS_USER, _PASSWORD, _TOKEN, _NKEY, _NKEY_SEED,
    /// _CREDS, _CA, _CERT, _KEY, _PREFIX and _INBOX_PREFIX describe. An empty variable counts as
    /// unset. Not while a thread changes the environment.
    static BrokerAccess ofEnvironment();
};

/// Adds an option for each member except the secrets, which are only read from the environment:
/// other users can see the command line of a process. The access must outlive the parser.
void addBrokerAccess(CLI::App& app, BrokerAccess& access);

}  // namespace kova::tool
