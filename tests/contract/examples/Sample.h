#pragma once

/// A sample for the extraction. Its text form is a grammar, not an example:
///
///     NUMBER;NUMBER        NUMBER = DIGITS
///
///     int value = sample();  // 1
///     if (value == 1) {
///         ++value;
///     }
///
/// Indented as a list, so not an example:
///   - first;
inline int sample() {
    return 1;
}

struct Holder {
    /// The second example.
    ///
    ///     Holder{}.value;
    int value = 0;
};

/// A third example, which describes a type.
///
///     struct Volume { int level = 0; };
///     KOVA_FIELDS(Volume, level)
struct Other {};
