#pragma once

#include "util/serializer/ItemBuilder.h"

namespace util::serializer {

/// Writes JSON text.
class JSONStructuredSerializerOld : public ItemBuilder {
public:
    explicit JSONStructuredSerializerOld(bool compact) : compact_(compact) {}

private:
    bool encode(const Item& item, std::string& bytes) const override {
        return writeJson(item, compact_, true, bytes);
    }

    bool compact_;
};

}  // namespace util::serializer
