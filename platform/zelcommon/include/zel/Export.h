#pragma once

/// Marks the declarations that `libzelcommon` exports. All others are hidden.
#define ZEL_API __attribute__((visibility("default")))

/// Marks a private member function of an exported class, so that it is hidden.
#define ZEL_LOCAL __attribute__((visibility("hidden")))
