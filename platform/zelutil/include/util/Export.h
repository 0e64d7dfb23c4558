#pragma once

/// Marks a class or function that `libzelutil` exports. All others are hidden.
#define UTIL_API __attribute__((visibility("default")))

/// Marks a private function or template of an exported class that is hidden, because only the
/// library itself calls it.
#define UTIL_LOCAL __attribute__((visibility("hidden")))
