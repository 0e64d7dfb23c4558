#pragma once

#include <string>
#include <vector>

#include "resources/Served.h"

namespace kova::kit::detail {

/// Answers for the paths of a service that no mount serves: the root, with the list of the mounts,
/// and all unknown paths.
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
