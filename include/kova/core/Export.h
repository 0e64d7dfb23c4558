#pragma once

/// Marks what `libkova_core` exports; everything else in it is hidden.
#define KOVA_API __attribute__((visibility("default")))
