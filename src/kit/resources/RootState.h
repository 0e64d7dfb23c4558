#pragma once

#include <string>
#include <vector>

#include "resources/Served.h"

namespace kova::kit::detail {

/// Answers requests for the paths of a service that no mount serves. The root is answered with the
/// list of mounts, all other paths with 404.
class RootState final : public Served {
public:
    explicit RootState(std::vector<std::string> mounts) : mounts_(std::move(mounts)) {}

    std::vector<Operation> operations() const override;

protected:
    std::shared_ptr<Exchange> serve(Incoming incoming) override;

private:
    Response answer(const Ask& ask) const;

    const std::vector<std::string> mounts_;
};

}  // namespace kova::kit::detail
