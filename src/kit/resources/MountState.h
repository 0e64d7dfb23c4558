#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kova/kit/Calls.h"
#include "kova/kit/Result.h"
#include "resources/Gate.h"

namespace kova::kit::detail {

/// The type of a function that returns the error for a request whose function threw an exception.
/// The function must not throw.
using OnUncaught = std::function<Error(const Error& error)>;

/// The state of a mount: the function for its uncaught exceptions, and the jobs that are running
/// for it.
///
/// Any thread may call any function.
class MountState {
public:
    /// If this is the state of an object in a slot, `parent` is the state of the slot's mount;
    /// otherwise it is null.
    explicit MountState(OnUncaught onUncaught,
                        std::shared_ptr<MountState> parent = nullptr) noexcept
        : onUncaught_(std::move(onUncaught)), parent_(std::move(parent)) {}

    const OnUncaught& onUncaught() const noexcept { return onUncaught_; }
    MountState* parent() const noexcept { return parent_.get(); }
    /// Returns the gate that the jobs of the mount enter.
    Gate& gate() noexcept { return gate_; }
    /// Returns the jobs that are running.
    std::vector<CallInfo> jobs() const;

    /// A guard that adds a job to the list of running jobs while the guard exists.
    class Running {
    public:
        Running(MountState& mount, const std::string& command, const std::string& path,
                std::string client);
        ~Running();
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

    private:
        friend class MountState;
        MountState& mount_;
        const std::string& command_;
        const std::string& path_;
        const std::string client_;
        const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
        const long thread_;
        std::list<const Running*>::iterator place_;
    };

private:
    const OnUncaught onUncaught_;
    const std::shared_ptr<MountState> parent_;
    Gate gate_;
    mutable std::mutex mutex_;
    std::list<const Running*> running_;
};

}  // namespace kova::kit::detail
