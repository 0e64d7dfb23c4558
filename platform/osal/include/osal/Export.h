#pragma once

/// Marks the declarations that `libosal` exports. All others are hidden.
#define OSAL_API __attribute__((visibility("default")))
