#pragma once

/// Marks the declarations that `libkova_kit` exports. All others are hidden.
#define KOVA_KIT_API __attribute__((visibility("default")))

/// Marks a private part of an exported class, so that it is hidden.
#define KOVA_KIT_LOCAL __attribute__((visibility("hidden")))
