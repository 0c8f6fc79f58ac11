// The elements of a drawing.
#include "trace/Svg.h"

#include "base/Text.h"

namespace plexa {
namespace {

std::string escaped(const std::string& words) {
    std::string result;
    for (const char c : words) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else {
            // Control characters have no place in XML at all.
            result += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return result;
}

std::string hintElement(const std::string& hint) {
    return hint.empty() ? std::string() : "<title>" + escaped(hint) + "</title>";
}

}  // namespace

void Svg::box(const std::string& className, double x, double y, double width, double height,
              const std::string& hint) {
    mElements += text("<rect class=\"%s\" x=\"%.1f\" y=\"%g\" width=\"%.1f\" height=\"%g\">",
                      className.c_str(), x, y, width, height) +
                 hintElement(hint) + "</rect>\n";
}

void Svg::line(const std::string& className, double x1, double y1, double x2, double y2) {
    mElements += text("<line class=\"%s\" x1=\"%.1f\" y1=\"%g\" x2=\"%.1f\" y2=\"%g\"/>\n",
                      className.c_str(), x1, y1, x2, y2);
}

void Svg::path(const std::string& className, const std::string& data, const std::string& hint) {
    mElements +=
        "<path class=\"" + className + "\" d=\"" + data + "\">" + hintElement(hint) + "</path>\n";
}

void Svg::words(const std::string& className, double x, double y, const std::string& words) {
    mElements += text("<text class=\"%s\" x=\"%.1f\" y=\"%g\">", className.c_str(), x, y) +
                 escaped(words) + "</text>\n";
}

std::string Svg::finish(double width, double height) const {
    return text(
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%g\" height=\"%g\" "
               "viewBox=\"0 0 %g %g\">\n<style>\n",
               width, height, width, height) +
           mStyleSheet + "</style>\n<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n" +
           mElements + "</svg>\n";
}

}  // namespace plexa
