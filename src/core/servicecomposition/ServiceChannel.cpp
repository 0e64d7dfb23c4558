#include "servicecomposition/ServiceChannel.h"

namespace kova::detail {

const tracing::Channel serviceChannel("KOVA_SERVICE_COMPOSED_STATIC", tracing::Channel::SILENT,
                                      tracing::Channel::SHARED);

}  // namespace kova::detail
