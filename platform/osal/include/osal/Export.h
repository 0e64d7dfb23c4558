#pragma once

/// Marks what `libosal` exports; everything else in it is hidden.
#define OSAL_API __attribute__((visibility("default")))
