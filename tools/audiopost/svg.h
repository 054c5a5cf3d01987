// Line charts as SVG text, readable on light and on dark.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace audiopost {

using Points = std::vector<std::pair<double, double>>;  // x, y; a y that is not finite breaks the line

enum class Mark {
  thin,   // one part of a whole
  thick,  // the whole
  dots,   // what was measured, over the line that was designed
  bars,   // from the lower edge up
};

struct Series {
  std::string name;  // for the legend; empty: not listed there
  int color;         // 0 is the text's colour, 1 … 10 are hues that hold on both grounds
  Mark mark;
  Points points;
};

struct Axis {
  std::string label;
  double low, high;
  bool logarithmic = false;
  std::vector<double> ticks = {};  // empty: at round steps
};

struct Chart {
  std::string title, note;  // the note stands small under the title
  Axis x, y;
  std::vector<Series> series;
  bool diagonal = false;  // a faint line where output equals input
};

// One chart as an <svg> of its own, 640 x 416 units; it needs svg_style() in the same document.
std::string svg_chart(const Chart& chart);
// The <style> text that all charts share: colours for light and, where the viewer asks for it, for dark.
std::string svg_style();
// Charts in two columns under a title and a small line, as a whole file.
std::string svg_page(const std::string& title, const std::string& note, const std::vector<Chart>& charts);

// Whether the legend's rows stay within the chart.
bool legend_fits(const Chart& chart);

std::string escaped(const std::string& text);  // for XML and HTML

}  // namespace audiopost
