#pragma once

/// Marks what `libkova_http` exports.
#define KOVA_HTTP_API __attribute__((visibility("default")))
