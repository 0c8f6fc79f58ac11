// The elements of a drawing.
#pragma once

#include <string>

namespace plexa {

/**
 * Collects elements of an SVG drawing, later ones above earlier ones. Classes are names in the
 * style sheet, and coordinates are pixels from the upper left.
 *
 * Threading: reentrant.
 */
class Svg {
public:
    explicit Svg(std::string styleSheet) : mStyleSheet(std::move(styleSheet)) {}

    /** `hint` is what a viewer shows when it points at the box. */
    void box(const std::string& className, double x, double y, double width, double height,
             const std::string& hint);
    void line(const std::string& className, double x1, double y1, double x2, double y2);
    /** `data` is that of a path element. */
    void path(const std::string& className, const std::string& data, const std::string& hint);
    void words(const std::string& className, double x, double y, const std::string& words);

    /** The whole drawing. */
    std::string finish(double width, double height) const;

private:
    const std::string mStyleSheet;
    std::string mElements;
};

}  // namespace plexa
