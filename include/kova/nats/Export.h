#pragma once

/// Marks what `libkova_nats` exports.
#define KOVA_NATS_API __attribute__((visibility("default")))
