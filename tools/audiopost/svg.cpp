#include "svg.h"

#include <algorithm>
#include <cmath>

#include "format.h"

namespace audiopost {
namespace {

constexpr double kWidth = 640, kHeight = 416;                         // three rows of legend fit below
constexpr double kLeft = 58, kRight = 622, kTop = 56, kBottom = 322;  // of the plotting area
constexpr double kTitleHeight = 72;
constexpr double kRing = 2.6;  // radius of a measured point

double place(const Axis& axis, double value, double from, double to) {
  const double part = axis.logarithmic ? std::log(value / axis.low) / std::log(axis.high / axis.low)
                                       : (value - axis.low) / (axis.high - axis.low);
  return from + part * (to - from);
}
double x_of(const Chart& chart, double x) { return place(chart.x, x, kLeft, kRight); }
double y_of(const Chart& chart, double y) { return place(chart.y, y, kBottom, kTop); }

// Round steps (1, 2, 5, 10, …), about six of them.
std::vector<double> ticks_of(const Axis& axis) {
  if (!axis.ticks.empty()) return axis.ticks;
  const double rough = (axis.high - axis.low) / 6, unit = std::pow(10.0, std::floor(std::log10(rough)));
  const double step = unit * (rough / unit < 1.5 ? 1 : rough / unit < 3.5 ? 2 : rough / unit < 7.5 ? 5 : 10);
  std::vector<double> ticks;
  for (auto i = std::lround(std::ceil(axis.low / step - 1e-9));
       static_cast<double>(i) * step <= axis.high + step * 1e-9; ++i)
    ticks.push_back(static_cast<double>(i) * step);
  return ticks;
}

std::string tick_text(const Axis& axis, double value) {
  if (axis.logarithmic && value >= 1000) return format("%gk", value / 1000);
  return format("%g", value);
}

std::string grid(const Chart& chart) {
  std::string text;
  for (const double tick : ticks_of(chart.x)) {
    const double x = x_of(chart, tick);
    text += format("<path class='grid' d='M%.1f %.1fV%.1f'/>", x, kTop, kBottom);
    text += format("<text class='tick' x='%.1f' y='%.1f' text-anchor='middle'>", x, kBottom + 15) +
            tick_text(chart.x, tick) + "</text>";
  }
  for (const double tick : ticks_of(chart.y)) {
    const double y = y_of(chart, tick);
    text += format("<path class='%s' d='M%.1f %.1fH%.1f'/>", tick == 0 ? "zero" : "grid", kLeft, y, kRight);
    text += format("<text class='tick' x='%.1f' y='%.1f' text-anchor='end'>", kLeft - 6, y + 4) +
            tick_text(chart.y, tick) + "</text>";
  }
  text += format("<text class='label' x='%.1f' y='%.1f' text-anchor='middle'>", (kLeft + kRight) / 2,
                 kBottom + 31) +
          escaped(chart.x.label) + "</text>";
  text += format("<text class='label' transform='translate(16 %.1f) rotate(-90)' text-anchor='middle'>",
                 (kTop + kBottom) / 2) +
          escaped(chart.y.label) + "</text>";
  return text;
}

std::string line(const Chart& chart, const Series& series) {
  std::string path;
  bool down = false;  // the pen
  for (const auto& [x, y] : series.points) {
    const double py =
        std::clamp(y_of(chart, y), -1000.0, 2000.0);  // the clip path hides what leaves the area
    if (std::isfinite(y))
      path += format(down ? "L%.1f %.1f" : "M%.1f %.1fh0", x_of(chart, x), py);  // h0: a point alone shows
    down = std::isfinite(y);
  }
  return format("<path class='%s c%d' d='", series.mark == Mark::thick ? "thick" : "thin", series.color) +
         path + "'/>";
}

std::string marks(const Chart& chart, const Series& series) {
  std::string text;
  for (const auto& [x, y] : series.points) {
    if (!std::isfinite(y) || x < chart.x.low || x > chart.x.high) continue;
    const double px = x_of(chart, x), py = std::clamp(y_of(chart, y), -1000.0, 2000.0);
    if (series.mark == Mark::dots)
      text += format("<circle class='dot c%d' cx='%.1f' cy='%.1f' r='%g'/>", series.color, px, py, kRing);
    else if (py < kBottom)
      text += format("<path class='bar c%d' d='M%.1f %.1fV%.1f'/>", series.color, px, kBottom, py);
  }
  return text;
}

// In rows under the chart, each entry as wide as its text: where they stand.
struct Entry {
  const Series* series;
  double x, y;
};
std::vector<Entry> legend_entries(const Chart& chart) {
  std::vector<Entry> entries;
  double x = kLeft, y = kBottom + 50;
  for (const Series& series : chart.series) {
    if (series.name.empty()) continue;
    const double width = 34 + 6.6 * static_cast<double>(series.name.size());
    if (x + width > kWidth) x = kLeft, y += 17;
    entries.push_back({&series, x, y});
    x += width;
  }
  return entries;
}

std::string legend(const Chart& chart) {
  std::string text;
  for (const auto& [entry, x, y] : legend_entries(chart)) {
    const Series& series = *entry;
    if (series.mark == Mark::dots)
      text +=
          format("<circle class='dot c%d' cx='%.1f' cy='%.1f' r='%g'/>", series.color, x + 9, y - 4, kRing);
    else
      text += format("<path class='%s c%d' d='M%.1f %.1fh18'/>", series.mark == Mark::thin ? "thin" : "thick",
                     series.color, x, y - 4);
    text += format("<text class='legend' x='%.1f' y='%.1f'>", x + 23, y) + escaped(series.name) + "</text>";
  }
  return text;
}

bool has_value(const Chart& chart) {
  for (const Series& series : chart.series)
    for (const auto& point : series.points)
      if (std::isfinite(point.second)) return true;
  return false;
}

}  // namespace

bool legend_fits(const Chart& chart) {
  const std::vector<Entry> entries = legend_entries(chart);
  return entries.empty() || entries.back().y < kHeight;
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '>')
      result += "&gt;";
    else if (c == '"')
      result += "&quot;";
    else if (c == '\'')
      result += "&#39;";
    else
      result += c;
  }
  return result;
}

std::string svg_style() {
  // Plain colours and no custom properties: not every viewer of SVG files knows those.
  return R"(
.ground{fill:#fff} .area,.dot{fill:#f7f7f5}
text{font-family:system-ui,'DejaVu Sans',sans-serif;fill:#222}
.head{font-weight:600} .title{font-size:15px;font-weight:600}
.note,.tick{font-size:11px;fill:#666} .label,.legend{font-size:12px;fill:#444}
path{fill:none} .thin,.thick{stroke-linecap:round;stroke-linejoin:round} .grid{stroke:#dcdcd8} .zero{stroke:#999} .diagonal{stroke:#b5b5b0;stroke-dasharray:4 4}
.thin{stroke-width:1.2} .thick{stroke-width:2.4} .bar{stroke-width:14;opacity:.75} .dot{stroke-width:1.4}
.c0{stroke:#222} .c1{stroke:#1f77d0} .c2{stroke:#d9601a} .c3{stroke:#2a9d4a} .c4{stroke:#c2356b}
.c5{stroke:#8a5cd6} .c6{stroke:#9a7b12} .c7{stroke:#14939c} .c8{stroke:#777} .c9{stroke:#8b3a1e}
.c10{stroke:#e06bd0}
@media(prefers-color-scheme:dark){
.ground{fill:#16181c} .area,.dot{fill:#1d2026} text{fill:#e8e8e6}
.note,.tick{fill:#9a9fa8} .label,.legend{fill:#c4c8cf}
.grid{stroke:#33373f} .zero{stroke:#6d737d} .diagonal{stroke:#555b66}
.c0{stroke:#f0f0ee} .c1{stroke:#5aa9f5} .c2{stroke:#f08c4a} .c3{stroke:#5cc97c} .c4{stroke:#ee6b9c}
.c5{stroke:#b48bf5} .c6{stroke:#d3b13c} .c7{stroke:#47c5cf} .c8{stroke:#a5aab3} .c9{stroke:#c98d6b}
.c10{stroke:#f7a8ec}
}
)";
}

std::string svg_chart(const Chart& chart) {
  std::string text =
      format("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g' width='%g' height='%g'>", kWidth,
             kHeight, kWidth, kHeight);
  text += "<title>" + escaped(chart.title) + "</title>";
  text += format("<text class='title' x='%g' y='24'>", kLeft) + escaped(chart.title) + "</text>";
  text += format("<text class='note' x='%g' y='42'>", kLeft) + escaped(chart.note) + "</text>";
  text += format("<rect class='area' x='%g' y='%g' width='%g' height='%g'/>", kLeft, kTop, kRight - kLeft,
                 kBottom - kTop);
  if (!has_value(chart))
    return text + format("<text class='label' x='%.1f' y='%.1f' text-anchor='middle'>no value</text></svg>\n",
                         (kLeft + kRight) / 2, (kTop + kBottom) / 2);
  text += grid(chart);
  // Everything drawn stays inside the area: a nested viewport clips without an id that a second chart could repeat.
  // A ring at either end may stand over it by half.
  const double left = kLeft - kRing - 1, width = kRight - kLeft + 2 * kRing + 2, height = kBottom - kTop;
  text += format("<svg x='%g' y='%g' width='%g' height='%g' viewBox='%g %g %g %g'>", left, kTop, width,
                 height, left, kTop, width, height);
  if (chart.diagonal) {
    const double low = std::max(chart.x.low, chart.y.low), high = std::min(chart.x.high, chart.y.high);
    text += format("<path class='diagonal' d='M%.1f %.1fL%.1f %.1f'/>", x_of(chart, low), y_of(chart, low),
                   x_of(chart, high), y_of(chart, high));
  }
  for (const Series& series : chart.series)
    text +=
        series.mark == Mark::thin || series.mark == Mark::thick ? line(chart, series) : marks(chart, series);
  return text + "</svg>" + legend(chart) + "</svg>\n";
}

std::string svg_page(const std::string& title, const std::string& note, const std::vector<Chart>& charts) {
  const size_t columns = charts.size() > 1 ? 2 : 1, rows = (charts.size() + columns - 1) / columns;
  const double width = static_cast<double>(columns) * kWidth;
  const double height = kTitleHeight + static_cast<double>(rows) * kHeight;
  std::string text =
      format("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g' width='%g' height='%g'>\n", width,
             height, width, height);
  text += "<style>" + svg_style() + "</style>\n<rect class='ground' width='100%' height='100%'/>\n";
  // A long title in smaller letters, each some 0.64 of the size wide.
  const double size = std::min(22.0, (width - 2 * kLeft) / (0.64 * static_cast<double>(title.size())));
  text += format("<text class='head' style='font-size:%.1fpx' x='%g' y='40'>", size, kLeft) + escaped(title) +
          "</text>\n";
  text += format("<text class='legend' x='%g' y='60'>", kLeft) + escaped(note) + "</text>\n";
  for (size_t i = 0; i < charts.size(); ++i) {
    const size_t column = i % columns, row = i / columns;
    text += format("<g transform='translate(%g %g)'>", static_cast<double>(column) * kWidth,
                   kTitleHeight + static_cast<double>(row) * kHeight) +
            svg_chart(charts[i]) + "</g>\n";
  }
  return text + "</svg>\n";
}

}  // namespace audiopost
