#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Context.h"
#include "ExitStatus.h"
#include "Session.h"
#include "Target.h"
#include "Words.h"
#include "kova/kit/Values.h"

namespace kova::tool {

/// Reads the inspection of a service, which is below "/.kova" (`kova/kit/Inspection.h`). Reports
/// why it cannot be read.
///
///     Inspector inspector(context, *Target::ofService("kova:/player"), options.deadline);
///     const auto mounts = inspector.read<std::vector<kit::MountView>>("resources");
///     if (!mounts) return inspector.status();
class Inspector {
public:
    /// Connects to the service.
    Inspector(const Context& context, Target target, std::chrono::milliseconds deadline);

    /// Returns the status of the first failure, which is reported on standard error. `DONE` if
    /// nothing has failed.
    ExitStatus status() const noexcept { return status_; }
    /// Sets the status if nothing has failed before. For failures that are reported elsewhere.
    void note(ExitStatus status) noexcept { status_ = status_ == DONE ? status : status_; }
    /// Returns the answer to a request for a path below "/.kova", or nothing if it fails.
    std::optional<Payload> ask(std::string_view command, const std::string& path,
                               const kit::Result<Payload>& body = Payload());
    /// Returns the value at a path below "/.kova", or nothing if it cannot be read.
    template <typename T>
    std::optional<T> read(const std::string& path) {
        const auto payload = ask(kit::command::retrieve, path);
        if (!payload) {
            return std::nullopt;
        }
        kit::Result<T> value = kit::fromPayload<T>(*payload);
        if (!value) {
            fail(value.error());
            return std::nullopt;
        }
        return *std::move(value);
    }

private:
    void fail(const kit::Error& error);

    const Context& context_;
    const Target target_;
    std::unique_ptr<Session> session_;
    ExitStatus status_ = DONE;
};

/// Adds the argument that names the service. The option --to or the variable KOVA_SERVICE can name
/// the service instead.
void addServiceArgument(CLI::App& word, std::string& service);

/// Calls a function with an inspector of the service that the options name. Returns the status of
/// the inspector. If there is no such service, reports why and does not call the function.
int withInspector(const Context& context, const ServiceOptions& options,
                  const std::function<void(Inspector&)>& function);

}  // namespace kova::tool
