#include "tools/tarn-status/history/canvas.h"

#include <algorithm>
#include <stdexcept>

#include <cairo-svg.h>

namespace tarnstatus {

namespace {

// For an exception must not cross cairo, that cannot be told otherwise.
cairo_status_t append(void* content, const unsigned char* bytes, unsigned int count)
{
    try {
        static_cast<std::string*>(content)->append(reinterpret_cast<const char*>(bytes), count);
        return CAIRO_STATUS_SUCCESS;
    } catch (const std::exception&) {
        return CAIRO_STATUS_NO_MEMORY;
    }
}

void demand(cairo_status_t status)
{
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(std::string("the plot cannot be drawn: ") + cairo_status_to_string(status));
    }
}

// cairo takes one font for a text, and the usual ones have no East Asian characters.
const char* familyFor(const std::string& words)
{
    const bool isEastAsian =
        std::any_of(words.begin(), words.end(), [](char c) { return static_cast<unsigned char>(c) >= 0xe3; });
    return isEastAsian ? "WenQuanYi Zen Hei" : "sans-serif";
}

} // namespace

Canvas::Canvas(PlotKind kind, double width, double height)
    : m_kind(kind), m_surface(kind == PlotKind::Svg
                                  ? cairo_svg_surface_create_for_stream(append, &m_content, width, height)
                                  : cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                                               static_cast<int>(height))),
      m_cairo(cairo_create(m_surface))
{
    bar(0, 0, width, height, {1, 1, 1});
}

Canvas::~Canvas()
{
    cairo_destroy(m_cairo);
    cairo_surface_destroy(m_surface);
}

void Canvas::line(double x1, double y1, double x2, double y2, const Colour& colour, double width)
{
    moveTo(x1, y1);
    lineTo(x2, y2);
    stroke(colour, width, false);
}

void Canvas::bar(double x, double y, double width, double height, const Colour& colour)
{
    cairo_set_source_rgb(m_cairo, colour.red, colour.green, colour.blue);
    cairo_rectangle(m_cairo, x, y, width, height);
    cairo_fill(m_cairo);
}

void Canvas::text(double x, double y, const std::string& words, Side side, double size)
{
    cairo_select_font_face(m_cairo, familyFor(words), CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(m_cairo, size);
    cairo_text_extents_t extents{};
    cairo_text_extents(m_cairo, words.c_str(), &extents);
    const double before = side == Side::Right  ? 0
                          : side == Side::Left ? extents.x_advance
                                               : extents.x_advance / 2;
    cairo_set_source_rgb(m_cairo, 0.2, 0.2, 0.2);
    cairo_move_to(m_cairo, x - before, y);
    cairo_show_text(m_cairo, words.c_str());
    cairo_new_path(m_cairo);
}

void Canvas::moveTo(double x, double y)
{
    cairo_move_to(m_cairo, x, y);
}

void Canvas::lineTo(double x, double y)
{
    cairo_line_to(m_cairo, x, y);
}

void Canvas::stroke(const Colour& colour, double width, bool isDashed)
{
    const double dash = 5;
    cairo_set_dash(m_cairo, &dash, isDashed ? 1 : 0, 0);
    cairo_set_source_rgb(m_cairo, colour.red, colour.green, colour.blue);
    cairo_set_line_width(m_cairo, width);
    cairo_set_line_join(m_cairo, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(m_cairo);
}

std::string Canvas::content()
{
    demand(cairo_status(m_cairo));
    if (m_kind == PlotKind::Png) {
        demand(cairo_surface_write_to_png_stream(m_surface, append, &m_content));
    }
    cairo_surface_finish(m_surface);
    demand(cairo_surface_status(m_surface));
    return m_content;
}

} // namespace tarnstatus
