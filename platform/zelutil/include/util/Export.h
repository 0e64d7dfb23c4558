#pragma once

/// Marks what `libzelutil` exports; everything else in it is hidden.
#define UTIL_API __attribute__((visibility("default")))
