// The word ls: the services of this machine.
#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

#include "CallLoop.h"
#include "ExitStatus.h"
#include "JsonLine.h"
#include "Report.h"
#include "Session.h"
#include "Table.h"
#include "Text.h"
#include "Times.h"
#include "Words.h"
#include "kova/http/Directory.h"
#include "kova/kit/Fields.h"
#include "kova/kit/InspectionViews.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

/// What is shown of a service.
struct ServiceView {
    std::string service;
    std::optional<std::string> version;
    std::optional<std::int64_t> uptimeMs;
    std::optional<std::uint64_t> pending;
    std::string address;
    std::optional<std::string> error;
};
KOVA_FIELDS(ServiceView, service, version, uptimeMs, pending, address, error)

/// The requests to one service.
struct Visit {
    ServiceView view;
    std::unique_ptr<Session> session;
    std::vector<kit::Subscription> calls;
};

// Asks a service for a value of its inspection.
template <typename T, typename Function>
void ask(Visit& visit, char const* path, CallLoop& loop, std::size_t& open, Function onValue) {
    ++open;
    visit.calls.push_back(visit.session->client()
                              .retrieve<T>(path)
                              .on(loop.executor())
                              .onValue(onValue)
                              .onEnd([&visit, &open](const kit::End& end) {
                                  --open;
                                  if (!end.ok()) {
                                      visit.view.error = visible(end.error().toString());
                                  }
                              })
                              .start());
}

void begin(Visit& visit, const Context& context, milliseconds deadline, CallLoop& loop,
           std::size_t& open) {
    kit::ClientOptions options;
    options.deadline = deadline;
    auto session = Session::open(*Target::ofService(visit.view.service), context, options);
    if (!session) {
        visit.view.error = visible(session.error().message);
        return;
    }
    visit.session = *std::move(session);
    ServiceView& view = visit.view;
    ask<kit::VersionView>(visit, "/.kova/version", loop, open,
                          [&view](const kit::VersionView& version) {
                              view.version = version.version;
                              view.uptimeMs = version.uptime.count();
                          });
    ask<std::vector<kit::PendingView>>(
        visit, "/.kova/pending", loop, open,
        [&view](const std::vector<kit::PendingView>& calls) { view.pending = calls.size(); });
}

std::vector<std::string> rowOf(const ServiceView& view) {
    const auto shown = [](const auto& value, auto toText) {
        return value ? toText(*value) : std::string("-");
    };
    return {visible(view.service),
            shown(view.version, [](const std::string& text) { return visible(text); }),
            shown(view.uptimeMs, [](std::int64_t count) { return toText(milliseconds(count)); }),
            shown(view.pending, [](std::uint64_t count) { return std::to_string(count); }),
            visible(view.error.value_or(view.address))};
}

void print(const Context& context, const std::vector<Visit>& visits) {
    std::vector<std::vector<std::string>> rows = {
        {"SERVICE", "VERSION", "UP", "PENDING", "ADDRESS"}};
    for (const Visit& visit : visits) {
        if (context.out.isTerminal) {
            rows.push_back(rowOf(visit.view));
        } else {
            context.out.stream << jsonLineOf(visit.view) << '\n';
        }
    }
    if (context.out.isTerminal) {
        printTable(context.out, rows);
    }
}

int list(const Context& context, milliseconds deadline) {
    CallLoop loop(context.interrupt);
    std::size_t open = 0;
    std::vector<Visit> visits;
    for (const http::Registered& service : http::registeredServices()) {
        visits.push_back({});
        visits.back().view.service = "kova:" + service.servicePath;
        visits.back().view.address = service.address;
    }
    for (Visit& visit : visits) {
        begin(visit, context, deadline, loop, open);
    }
    const auto reason = loop.run([&open] { return open == 0; }, std::nullopt);
    if (reason == CallLoop::Reason::interrupted) {
        return INTERRUPTED;
    }
    if (visits.empty()) {
        std::string places;
        for (const std::string& directory : http::socketDirectories()) {
            places += (places.empty() ? "" : " and ") + directory;
        }
        printError(context, "no service is registered in " + places,
                   "a service registers with an endpoint at kova:/NAME; others are named by their "
                   "address: --to unix:SOCKET");
        return NO_SERVICE;
    }
    print(context, visits);
    return DONE;
}

}  // namespace

void addServices(Words& words) {
    const auto deadline = std::make_shared<milliseconds>(2000);
    CLI::App& word =
        words.add("ls", "Lists the services of this machine, their versions and what they work on",
                  {"kova ls", "kova ls | jq -r .service"});
    // `ls` has no argument; this one explains what to do instead.
    word.add_option_function<std::string>(
            "NAME",
            [](const std::string& text) {
                throw CLI::ValidationError("'" + visible(text) +
                                           "': ls lists the services of this machine; name one of "
                                           "another machine or of a broker: kova tree nats://"
                                           "HOST/SERVICE");
            })
        ->group("");
    addTime(word, "--deadline", *deadline, "the time for the answers of a service [2s]");
    words.onSelected(word, [deadline](const Context& context) { return list(context, *deadline); });
}

}  // namespace kova::tool
