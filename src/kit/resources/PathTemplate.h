#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/resources/Route.h"

namespace kova::kit::detail {

/// A segment of a template. The kinds are listed in order of preference.
struct TemplateSegment {
    enum class Kind : unsigned char { literal, unsignedInteger, signedInteger, text, rest };

    Kind kind;
    /// The literal text, or the name of the parameter.
    std::string text;

    /// Returns the rank of the segment. If several templates match a path, the template whose
    /// segment has the lowest rank is chosen. Signed and unsigned numbers have the same rank.
    int rank() const noexcept;
};

/// The template of a path, such as "{id:uint}/name".
class PathTemplate {
public:
    /// The maximum number of segments of a template.
    static constexpr std::size_t LONGEST = 32;

    /// Parses a template. Throws `std::invalid_argument` if the text is malformed.
    explicit PathTemplate(std::string_view text);

    const std::vector<TemplateSegment>& segments() const noexcept { return segments_; }
    const std::string& text() const noexcept { return text_; }
    /// Returns the number of parameters.
    std::size_t parameters() const noexcept;
    /// Returns whether both templates match a path with the same rank in every segment, so that
    /// neither is preferred.
    bool isAsGoodAs(const PathTemplate& other) const noexcept;
    /// Throws `std::invalid_argument` if the parameters of a function do not match the parameters
    /// of the template.
    void check(const std::vector<ArgumentKind>& arguments, bool acceptsBody) const;

private:
    [[noreturn]] void refuse(const std::string& reason) const;
    void addSegment(TemplateSegment&& segment);
    TemplateSegment parseSegment(std::string_view segment) const;

    std::string text_;
    std::vector<TemplateSegment> segments_;
};

}  // namespace kova::kit::detail
