#include "Inspector.h"

#include <CLI/CLI.hpp>

#include "Report.h"
#include "kova/core/StatusCodes.h"

namespace kova::tool {

namespace {

// Returns the advice for a user whose request for the inspection has failed with the code.
std::string adviceFor(unsigned short code, const Target& target) {
    switch (code) {
        case statuscodes::NOT_FOUND:
            return "the service is built without ServiceBuilder::inspect, or does not have this "
                   "part";
        case statuscodes::FORBIDDEN:
            if (target.isAtBroker()) {
                return "a service shows its inspection to clients of a broker only if its "
                       "InspectionOptions::isAllowed does so, or through kova bridge --inspection";
            }
            return "the inspection is for the user of the service and for root, over its Unix "
                   "socket";
        default:
            return "";
    }
}

kit::Result<Target> serviceOf(const std::string& text) {
    if (text.empty()) {
        return kit::Error{400,
                          "which service? 'kova ls' lists those of this machine; others are "
                          "unix:SOCKET or http://HOST:PORT"};
    }
    return Target::ofService(text);
}

}  // namespace

Inspector::Inspector(const Context& context, Target target, std::chrono::milliseconds deadline)
    : context_(context), target_(std::move(target)) {
    kit::ClientOptions options;
    options.deadline = deadline;
    auto session = Session::open(target_, context, options);
    if (session) {
        session_ = *std::move(session);
    } else {
        status_ = reportOpen(context, session.error());
    }
}

std::optional<Payload> Inspector::ask(std::string_view command, const std::string& path,
                                      const kit::Result<Payload>& body) {
    kit::CallDraft draft = session_->client().makeDraft(command, "/.kova/" + path, body);
    headers::appendResponseSemantic(draft.request, headers::SINGLE_RESPONSE);
    const Answer answer = session_->ask(std::move(draft), {});
    if (answer.end.ok()) {
        return answer.value ? answer.value->getPayload() : Payload();
    }
    const std::string advice = adviceFor(answer.end.error().code, target_);
    status_ = exitStatusOf(answer.end);
    if (status_ == REFUSED && !advice.empty()) {
        printError(context_, answer.end.error().toString(), advice);
    } else {
        reportEnd(context_, target_, answer.end);
    }
    return std::nullopt;
}

void Inspector::fail(const kit::Error& error) {
    status_ = FAILED;
    printError(context_, "the service answers with something else: " + error.message);
}

void addServiceArgument(CLI::App& word, std::string& service) {
    word.add_option(
            "SERVICE,--to", service,
            "kova:/SERVICE, unix:SOCKET, http://HOST:PORT or nats://HOST/SERVICE; also with --to")
        ->type_name("")
        ->envname("KOVA_SERVICE");
}

int withInspector(const Context& context, const ServiceOptions& options,
                  const std::function<void(Inspector&)>& function) {
    const auto target = serviceOf(options.to);
    if (!target) {
        return misused(context, target.error());
    }
    Inspector inspector(context, *target, options.deadline);
    if (inspector.status() == DONE) {
        function(inspector);
    }
    return inspector.status();
}

}  // namespace kova::tool
