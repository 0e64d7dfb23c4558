#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "calls/Task.h"
#include "osal/Alarm.h"

namespace kova::kit::detail {

/// Traces each callback that has blocked a thread of an executor for one to two seconds. The
/// callback is traced once, while it is still running.
///
/// While tasks run, an alarm expires every second. When a task begins, it arms the alarm if the
/// alarm is idle. An executor without tasks therefore causes no expiry, and each task locks a mutex
/// once.
class BlockWatch {
public:
    /// A guard for a running task. It lives on the stack of the task's thread.
    class Running {
    public:
        Running(BlockWatch& watch, const Task& task);
        ~Running();
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

    private:
        friend class BlockWatch;
        BlockWatch& watch_;
        const Task& task_;
        const long thread_;
        unsigned expiries_ = 0;
    };

    explicit BlockWatch(osal::AlarmTimer& timer = osal::Alarm::DEFAULT_TIMER) : timer_(timer) {}
    BlockWatch(const BlockWatch&) = delete;
    BlockWatch& operator=(const BlockWatch&) = delete;

private:
    void expired();

    osal::AlarmTimer& timer_;
    std::mutex mutex_;
    std::vector<Running*> running_;
    bool armed_ = false;
    /// Whether a task has begun since the alarm last expired.
    bool busy_ = false;
    std::unique_ptr<osal::Alarm> alarm_;
};

}  // namespace kova::kit::detail
