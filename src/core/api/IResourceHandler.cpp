#include "kova/core/IResourceHandler.h"

namespace kova {

IResourceHandler::~IResourceHandler() = default;

}  // namespace kova
