#pragma once

/// Marks what `libzelutil` exports; everything else in it is hidden.
#define UTIL_API __attribute__((visibility("default")))

/// Marks a private template of an exported class: its instances are nobody else's.
#define UTIL_LOCAL __attribute__((visibility("hidden")))
