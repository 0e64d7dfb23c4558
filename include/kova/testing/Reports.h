#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

namespace kova::testing {

/// A guard that installs a sink which collects the error reports of the process. Its destructor
/// restores the former sink and acknowledges the thread's latest error.
///
///     kova::testing::Reports reports;  // from here on no report reaches the default sink
///     std::vector<kova::testing::Reports::Report> seen = reports.take();
class Reports {
public:
    /// A copy of a report.
    struct Report {
        std::string type;    ///< the name of the catalogue
        int number;          ///< the number in the catalogue
        std::string reason;  ///< the text of the error
        std::string file;    ///< the source file that reported the error
        int line;            ///< the line in that file
    };

    Reports() {
        former_ = zel::ErrorOutput::setSink([this](const zel::ErrorReport& report) {
            const std::lock_guard<std::mutex> guard(mutex_);
            reports_.push_back({std::string(report.type), report.number, std::string(report.reason),
                                std::string(report.file), report.line});
        });
    }
    ~Reports() {
        zel::ErrorOutput::setSink(std::move(former_));
        zel::ErrorStorage::current().acknowledge();
    }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    /// Returns the reports collected so far and removes them.
    std::vector<Report> take() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::move(reports_);
    }

private:
    std::mutex mutex_;
    std::vector<Report> reports_;
    zel::ErrorOutput::Sink former_;
};

}  // namespace kova::testing
