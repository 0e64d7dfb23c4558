// Prints the settings that the platform provides. The program is the same for every libosal.
#include <iostream>
#include <string>

#include "kova/core/Request.h"
#include "kova/core/SemVer.h"
#include "kova/core/headers.h"
#include "osal/Environment.h"
#include "tracing/Channel.h"

int main() {
    tracing::setSink([](const tracing::Message& message) {
        std::cout << "trace: " << message.channel << ' ' << message.level << ": " << message.text
                  << '\n';
    });

    // With an empty token, the process uses the token in ZEL_CONFIG_KOVA_AGT.
    kova::headers::setAgt("");
    kova::Request request("retrieve", "/lamp");
    kova::headers::appendAuthInfo(request);
    std::cout << request.toString() << '\n';

    // ZEL_TRACE sets the levels of the trace channels.
    const auto version = kova::semver::getMostCompatible("2.3.0", "2.4.1");
    std::cout << "version " << version.value_or("none") << '\n';

    std::cout << "PATH is " << (osal::Environment::getVariable("PATH").empty() ? "not " : "")
              << "set\n";
}
