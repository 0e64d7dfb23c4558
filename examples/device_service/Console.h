#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "Journal.h"
#include "kova/core/IKovaApi.h"
#include "kova/core/MimeTypes.h"
#include "kova/kit/Client.h"

namespace device {

/// Interprets lines of text as requests to a service, and prints every event that it receives.
///
/// One thread calls the functions; events may arrive on any thread. The events of a cancelled
/// request are not printed. Requests carry the trace client id of the process and, if one is set,
/// its agent token.
class Console {
public:
    /// `servicePath` names the service in locators and requests. `interrupted` returns whether to
    /// stop waiting. The service and the journal must outlive the console.
    Console(kova::IKovaApi& service, std::string servicePath, Journal& journal,
            std::function<bool()> interrupted);

    /// Returns a description of the commands for the user.
    static char const* help();

    /// Selects the version of the service's interface that is most compatible with a client built
    /// for `version`, and prints the outcome. Returns false if no version fits; then do not send
    /// requests.
    bool connect(const std::string& version);
    /// Executes one line, or rejects it. Returns false if the line is the command to quit.
    bool execute(const std::string& line);
    /// Returns whether any request has neither ended nor been cancelled. Forgets the others.
    bool hasPending();
    /// Cancels all pending requests, and refuses further ones.
    void shutdown();

private:
    void request(const std::string& word, const std::string& address, const std::string& json);
    void cancel(const std::optional<unsigned long>& number);
    void accept(const std::string& type);
    void start(kova::kit::CallDraft draft, bool isList);
    kova::kit::Result<void> show(const std::string& label, const kova::Response& value,
                                 bool isList);
    void end(const std::string& label, const kova::kit::End& end);

    const std::string servicePath_;
    Journal& journal_;
    const std::function<bool()> interrupted_;
    std::string mimeType_ = kova::mimetypes::JSON_TYPE;
    unsigned long lastNumber_ = 0;
    std::map<unsigned long, kova::kit::Subscription> calls_;
    /// Last, so that it is destroyed first: events may arrive as long as it exists.
    kova::kit::Client client_;
};

}  // namespace device
