#include "servicecomposition/ServiceChannel.h"

namespace kova::servicecomp {

const tracing::Channel channel("KOVA_SERVICE_COMPOSED_STATIC", tracing::Channel::SILENT,
                               tracing::Channel::SHARED);

}  // namespace kova::servicecomp
