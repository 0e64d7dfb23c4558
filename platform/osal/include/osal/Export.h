#pragma once

/// Marks the declarations that `libosal` exports. All others are hidden.
#define OSAL_API __attribute__((visibility("default")))

/// Marks a private member function of an exported class, so that it is hidden.
#define OSAL_LOCAL __attribute__((visibility("hidden")))
