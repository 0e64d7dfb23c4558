#pragma once

#include <string_view>
#include <utility>

#include "Trial.h"
#include "zel/ErrorOutput.h"
#include "zel/GlobalErrorHandler.h"

namespace kova::test {

/// A guard that replaces the abort handler by one that throws `Stopped` when memory runs out.
class StopHandler {
public:
    StopHandler() : former_(zel::GlobalErrorHandler::setHandler(stop)) {}
    ~StopHandler() { zel::GlobalErrorHandler::setHandler(former_); }
    StopHandler(const StopHandler&) = delete;
    StopHandler& operator=(const StopHandler&) = delete;

private:
    static void stop(char const*, char const*, char const* message) {
        if (std::string_view(message) == "New call failed, OOM") {
            throw Stopped();
        }
    }

    zel::GlobalErrorHandler::Handler former_;
};

/// A guard that discards error reports, because collecting them would allocate memory.
class DiscardedReports {
public:
    DiscardedReports() : former_(zel::ErrorOutput::setSink([](const zel::ErrorReport&) {})) {}
    ~DiscardedReports() { zel::ErrorOutput::setSink(std::move(former_)); }
    DiscardedReports(const DiscardedReports&) = delete;
    DiscardedReports& operator=(const DiscardedReports&) = delete;

private:
    zel::ErrorOutput::Sink former_;
};

}  // namespace kova::test
