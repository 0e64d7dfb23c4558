#pragma once

/// Marks the declarations that `libzelcommon` exports. All others are hidden.
#define ZEL_API __attribute__((visibility("default")))
