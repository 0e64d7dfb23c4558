#pragma once

#include <string>
#include <utility>

#include "kova/kit/resources/Change.h"

// The common part of `ObservableList` and `ObservableMap`. Used only by the kit.
namespace kova::kit::detail {

/// A change of a list or map. `U` is a `ListChange` or `MapChange` of shared elements.
template <typename U>
class CollectionUpdate final : public Change {
public:
    explicit CollectionUpdate(U&& update) : update(std::move(update)) {}

    /// Not modified after the change was published.
    U update;

private:
    Result<Payload> encode(const std::string& mimeType) const override {
        return toPayload(update, mimeType);
    }
};

}  // namespace kova::kit::detail
