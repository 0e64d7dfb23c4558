#pragma once

/// Marks what `libzelutil` exports; everything else in it is hidden.
#define UTIL_API __attribute__((visibility("default")))

/// Marks a private function or template of an exported class: nobody else calls it.
#define UTIL_LOCAL __attribute__((visibility("hidden")))
