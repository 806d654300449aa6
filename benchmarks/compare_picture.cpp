#include "benchmarks/compare_picture.h"

#ifdef QUARN_HAVE_CAIRO
#include <cairo.h>
#endif
#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace benchmarks {

const Comparison &picture_comparison(const std::vector<Comparison> &comparisons,
                                     const std::string &name) {
  const Comparison *chosen = nullptr;
  double longest = -1.0;
  for (const Comparison &comparison : comparisons) {
    double seconds = 0.0;
    bool finished = true;
    for (const MethodRun &run : comparison.runs) {
      seconds += run.result.seconds();
      finished = finished && run.result.closed;
    }
    const bool wanted = name.empty() ? finished : comparison.instance.name == name;
    if (!wanted || seconds <= longest) continue;
    longest = seconds;
    chosen = &comparison;
  }
  if (chosen == nullptr) throw std::invalid_argument("there is no such instance to draw");
  return *chosen;
}

#ifdef QUARN_HAVE_CAIRO

namespace {

constexpr double kWidth = 1500.0, kHeight = 640.0;
constexpr double kPanelWidth = 610.0, kPanelHeight = 440.0, kPanelTop = 110.0;
constexpr double kPanelLeft[] = {105.0, 845.0};
constexpr double kTitleSize = 20.0, kTextSize = 16.0;
// Distances from the optimum: below the tolerance nothing is to be seen.
constexpr double kLeast = 1e-8, kMost = 1.0;
// What is not known.
constexpr double kUnknown = 1e30;

struct Colour {
  double red, green, blue;
};

/// Told apart by the colour-blind as well: M. Okabe, K. Ito, Color universal design (2008).
constexpr Colour kColours[] = {
    {0.835, 0.369, 0.0}, {0.0, 0.447, 0.698}, {0.0, 0.620, 0.451}, {0.6, 0.4, 0.6}};
constexpr Colour kInk = {0.15, 0.15, 0.15}, kGrid = {0.88, 0.88, 0.88};
constexpr const char *kLabels[] = {"library, the example's settings", "textbook, simplex",
                                   "smoothed duals, simplex", "library, no centring"};

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

enum class Align { kLeft, kCentre, kRight };

/// One of the two axis systems: x linear from 0, y logarithmic.
struct Panel {
  double left, x_most;
  double x(double value) const { return left + kPanelWidth * std::min(1.0, value / x_most); }
  double y(double value) const {
    const double share =
        std::log(std::clamp(value, kLeast, kMost) / kLeast) / std::log(kMost / kLeast);
    return kPanelTop + kPanelHeight * (1.0 - share);
  }
};

void set_colour(cairo_t *c, const Colour &colour) {
  cairo_set_source_rgb(c, colour.red, colour.green, colour.blue);
}

void write(cairo_t *c, double x, double y, const std::string &text, Align align, double size) {
  set_colour(c, kInk);
  cairo_set_font_size(c, size);
  cairo_text_extents_t extents;
  cairo_text_extents(c, text.c_str(), &extents);
  const double share = align == Align::kLeft ? 0.0 : align == Align::kCentre ? 0.5 : 1.0;
  cairo_move_to(c, x - share * extents.x_advance, y);
  cairo_show_text(c, text.c_str());
}

void line(cairo_t *c, double x0, double y0, double x1, double y1) {
  cairo_move_to(c, x0, y0);
  cairo_line_to(c, x1, y1);
  cairo_stroke(c);
}

/// 1, 2 or 5 times a power of ten, for about six ticks.
double tick_distance(double most) {
  const double power = std::pow(10.0, std::floor(std::log10(most / 6.0)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (most / (factor * power) <= 7.0) return factor * power;
  }
  return 10.0 * power;
}

void draw_axes(cairo_t *c, const Panel &panel, const std::string &x_label) {
  const double bottom = kPanelTop + kPanelHeight, right = panel.left + kPanelWidth;
  cairo_set_line_width(c, 1.0);
  for (int decade = -8; decade <= 0; ++decade) {
    const double y = panel.y(std::pow(10.0, decade));
    set_colour(c, kGrid);
    line(c, panel.left, y, right, y);
    write(c, panel.left - 10.0, y + 5.0, "1e" + std::to_string(decade), Align::kRight, kTextSize);
  }
  const double distance = tick_distance(panel.x_most);
  for (int k = 0; k * distance <= panel.x_most * (1.0 + 1e-9); ++k) {
    const double x = panel.x(k * distance);
    set_colour(c, kGrid);
    line(c, x, kPanelTop, x, bottom);
    write(c, x, bottom + 24.0, cell(k * distance, 4), Align::kCentre, kTextSize);
  }
  set_colour(c, kInk);
  cairo_rectangle(c, panel.left, kPanelTop, kPanelWidth, kPanelHeight);
  cairo_stroke(c);
  write(c, panel.left + 0.5 * kPanelWidth, bottom + 54.0, x_label, Align::kCentre, kTextSize);
}

/// A bound stays what it is until the next answer: steps.
template <typename Position, typename Bound>
void draw_bound(cairo_t *c, const Panel &panel, const std::vector<Sample> &samples, double optimum,
                const Position &position, const Bound &bound) {
  bool begun = false;
  double last_y = 0.0;
  for (const Sample &sample : samples) {
    if (std::fabs(bound(sample)) >= kUnknown) continue;
    const double x = panel.x(position(sample));
    const double y = panel.y(std::fabs(bound(sample) - optimum) / std::fabs(optimum));
    if (begun) {
      cairo_line_to(c, x, last_y);
      cairo_line_to(c, x, y);
    } else {
      cairo_move_to(c, x, y);
    }
    begun = true;
    last_y = y;
  }
  cairo_stroke(c);
}

template <typename Position>
void draw_panel(cairo_t *c, double left, const Comparison &comparison, double optimum,
                const std::string &x_label, const Position &position) {
  Panel panel = {left, 0.0};
  for (const MethodRun &run : comparison.runs) {
    if (!run.result.samples.empty()) {
      panel.x_most = std::max(panel.x_most, position(run.result.samples.back()));
    }
  }
  draw_axes(c, panel, x_label);
  constexpr double kDashes[] = {7.0, 4.0};
  for (size_t k = comparison.runs.size(); k-- > 0;) {  // ours last, on top
    const MethodRun &run = comparison.runs[k];
    set_colour(c, kColours[static_cast<size_t>(run.method)]);
    cairo_set_line_width(c, 2.2);
    draw_bound(c, panel, run.result.samples, optimum, position,
               [](const Sample &s) { return s.upper; });
    cairo_set_dash(c, kDashes, 2, 0.0);
    draw_bound(c, panel, run.result.samples, optimum, position,
               [](const Sample &s) { return s.lower; });
    cairo_set_dash(c, nullptr, 0, 0.0);
  }
}

void draw_legend(cairo_t *c, const Comparison &comparison) {
  constexpr double kY = 76.0, kSample = 34.0, kGap = 10.0;
  double x = kPanelLeft[0];
  for (const MethodRun &run : comparison.runs) {
    const auto method = static_cast<size_t>(run.method);
    set_colour(c, kColours[method]);
    cairo_set_line_width(c, 4.0);
    line(c, x, kY - 5.0, x + kSample, kY - 5.0);
    write(c, x + kSample + kGap, kY, kLabels[method], Align::kLeft, kTextSize);
    cairo_text_extents_t extents;
    cairo_text_extents(c, kLabels[method], &extents);
    x += kSample + 3.5 * kGap + extents.x_advance;
  }
  write(c, kPanelLeft[1] + kPanelWidth, kY, "upper bounds solid, lower bounds dashed",
        Align::kRight, kTextSize);
}

/// As good as the runs tell.
double optimum_of(const Comparison &comparison) {
  if (comparison.instance.known && !comparison.instance.known_is_bound) {
    return *comparison.instance.known;
  }
  double lower = -kUnknown, upper = kUnknown;
  for (const MethodRun &run : comparison.runs) {
    lower = std::max(lower, run.result.lower);
    upper = std::min(upper, run.result.upper);
  }
  return 0.5 * (lower + upper);
}

void draw(cairo_t *c, const Comparison &comparison) {
  cairo_set_source_rgb(c, 1.0, 1.0, 1.0);
  cairo_paint(c);
  cairo_select_font_face(c, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  write(c, kPanelLeft[0], 38.0,
        comparison.instance.name + ": distance of the bounds from the optimum, relative",
        Align::kLeft, kTitleSize);
  draw_legend(c, comparison);
  const double optimum = optimum_of(comparison);
  draw_panel(c, kPanelLeft[0], comparison, optimum, "rounds of pricing",
             [](const Sample &s) { return static_cast<double>(s.rounds); });
  draw_panel(c, kPanelLeft[1], comparison, optimum, "seconds of processor time",
             [](const Sample &s) { return s.seconds; });
}

}  // namespace

void draw_bounds(const Comparison &comparison, const std::string &path) {
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(kWidth),
                                                   static_cast<int>(kHeight)),
                        cairo_surface_destroy);
  const Context context(cairo_create(surface.get()), cairo_destroy);
  draw(context.get(), comparison);
  const cairo_status_t status = cairo_surface_write_to_png(surface.get(), path.c_str());
  if (status != CAIRO_STATUS_SUCCESS) {
    throw std::runtime_error(path + ": " + cairo_status_to_string(status));
  }
}

#else

void draw_bounds(const Comparison &, const std::string &) {
  throw std::runtime_error("this build has no cairo, so there is no picture");
}

#endif

}  // namespace benchmarks
