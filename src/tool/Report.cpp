#include "Report.h"

#include <string_view>

#include "Text.h"

namespace kova::tool {

namespace {

// Returns the reason of a failed request, without "lost: " if there was no connection: a request
// that was never sent was not lost.
std::string withoutLost(const std::string& reason) {
    constexpr std::string_view PREFIX = "lost: no connection";
    return reason.compare(0, PREFIX.size(), PREFIX) == 0 ? reason.substr(6) : reason;
}

std::string adviceFor(ExitStatus status, unsigned short code, const Target& target) {
    const std::string service = target.serviceText();
    switch (status) {
        case NO_SERVICE:
            if (target.isAtBroker()) {
                return "check the address of the broker and the path of the service, and whether "
                       "the service runs";
            }
            return "start the service, or name another one with --to; 'kova ls' lists those of "
                   "this "
                   "machine";
        case TIMED_OUT:
            return "--deadline 2m waits longer, --deadline 0 without a limit";
        case REFUSED:
            break;
        default:
            return "";
    }
    switch (code) {
        case 404:
            return "kova tree '" + service + "' lists the resources";
        case 401:
        case 403:
            if (target.isAtBroker()) {
                return "--user, --nkey, --creds, --cert and the variables KOVA_NATS_PASSWORD and "
                       "KOVA_NATS_TOKEN log in to a broker; ZEL_CONFIG_KOVA_AGT has the token for "
                       "the service";
            }
            return "the variable ZEL_CONFIG_KOVA_AGT has the token that requests carry";
        default:
            return "";
    }
}

}  // namespace

void printError(const Context& context, const std::string& text, const std::string& advice) {
    std::ostream& stream = context.err.stream;
    stream << coloured(context.err, Colour::red, "kova:") << ' ' << visible(text) << '\n';
    if (!advice.empty()) {
        stream << "      " << visible(advice) << '\n';
    }
    stream.flush();
}

ExitStatus misused(const Context& context, const kit::Error& error) {
    printError(context, error.message);
    return MISUSED;
}

ExitStatus reportOpen(const Context& context, const kit::Error& error) {
    if (error.code == 400) {
        return misused(context, error);
    }
    printError(context, error.message,
               error.code == 403
                   ? "only services of root and of your own user are opened; the owner "
                     "of the directory decides who may connect"
                   : "start the service, or name its socket with --to unix:SOCKET");
    return NO_SERVICE;
}

ExitStatus reportEnd(const Context& context, const Target& target, const kit::End& end) {
    const ExitStatus status = exitStatusOf(end);
    if (status == INTERRUPTED) {
        printError(context, "cancelled");
    } else if (status != DONE) {
        const kit::Error error = end.error();
        const bool isAnswer = end.kind() == kit::End::Kind::failed && status != NO_SERVICE;
        printError(context, isAnswer ? error.toString() : withoutLost(error.message),
                   adviceFor(status, error.code, target));
    }
    return status;
}

}  // namespace kova::tool
