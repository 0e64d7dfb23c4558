#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Functions that write the parts of the text exposition format 0.0.4 of Prometheus.
namespace kova::kit::detail {

/// Appends the lines "# HELP" and "# TYPE".
void appendMetricHead(std::string& out, std::string_view name, std::string_view help,
                      std::string_view type);
/// Appends `name="value"` with the escapes of label values.
void appendLabel(std::string& out, std::string_view name, std::string_view value);
/// Appends the line of a sample. `labels` is the text between the braces; it may be empty.
/// @{
void appendSample(std::string& out, std::string_view name, std::string_view labels,
                  std::uint64_t number);
void appendSample(std::string& out, std::string_view name, std::string_view labels, double number);
/// @}

/// @{
/// Returns whether a metric or a label may have this name.
bool isMetricName(std::string_view name) noexcept;
bool isLabelName(std::string_view name) noexcept;
/// @}

}  // namespace kova::kit::detail
