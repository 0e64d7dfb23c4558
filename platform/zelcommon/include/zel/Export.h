#pragma once

/// Marks what `libzelcommon` exports; everything else in it is hidden.
#define ZEL_API __attribute__((visibility("default")))
