#pragma once

/// Marks the declarations that `libkova_core` exports. All others are hidden.
#define KOVA_API __attribute__((visibility("default")))

/// Marks a private member function of an exported class, so that it is hidden.
#define KOVA_LOCAL __attribute__((visibility("hidden")))
