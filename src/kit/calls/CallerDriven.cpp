#include "kova/kit/CallerDriven.h"

namespace kova::kit {

CallerDriven::~CallerDriven() = default;

}  // namespace kova::kit
