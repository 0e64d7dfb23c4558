#include "kova/core/IKovaApi.h"

namespace kova {

IKovaApi::~IKovaApi() = default;

}  // namespace kova
