#pragma once

/// Marks the declarations that `libkova_kit` exports. All others are hidden.
#define KOVA_KIT_API __attribute__((visibility("default")))
