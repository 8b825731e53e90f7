#pragma once

#include <string>

#include <cairo.h>

#include "tools/tarn-status/history/plot.h"

namespace tarnstatus {

struct Colour
{
    double red;
    double green;
    double blue;
};

// Canvas is cairo, as far as a plot needs it. Coordinates from the upper left corner.
class Canvas final
{
public:
    enum class Side // where a text stands of its point
    {
        Right,
        Left,
        Middle,
    };

    Canvas(PlotKind kind, double width, double height);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void line(double x1, double y1, double x2, double y2, const Colour& colour, double width);
    void bar(double x, double y, double width, double height, const Colour& colour);
    void text(double x, double y, const std::string& words, Side side, double size = 12);
    // A line of several pieces, begun and ended by its user.
    void moveTo(double x, double y);
    void lineTo(double x, double y);
    void stroke(const Colour& colour, double width, bool isDashed);
    // Nothing is drawn on it any more.
    std::string content();

private:
    std::string m_content;
    const PlotKind m_kind;
    cairo_surface_t* m_surface = nullptr;
    cairo_t* m_cairo = nullptr;
};

} // namespace tarnstatus
