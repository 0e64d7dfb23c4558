#include "osal/Clock.h"

namespace osal {

Clock::~Clock() = default;

}  // namespace osal
