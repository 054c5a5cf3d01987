// JSON text from its parts.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace audiopost::json {

using Fields = std::vector<std::pair<std::string, std::string>>;  // a name and JSON text

// Infinities and NaN, which JSON does not know, become null.
inline std::string number(double x, int digits = 3) {
  if (!std::isfinite(x)) return "null";
  if (std::abs(x) < 0.5 * std::pow(10.0, -digits)) x = 0;  // not "-0.0"
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, x);
  return text;
}

inline std::string string(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(c));
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) < 0x20)
      quoted += escape;
    else
      quoted += c;
  }
  return quoted + '"';
}

inline std::string array(const std::vector<std::string>& items) {
  std::string text = "[";
  for (const std::string& item : items) text += (text.size() > 1 ? ", " : "") + item;
  return text + "]";
}

inline std::string numbers(const std::vector<double>& values, int digits = 3) {
  std::vector<std::string> items;
  items.reserve(values.size());
  for (const double value : values) items.push_back(number(value, digits));
  return array(items);
}

inline std::string object(const Fields& fields) {
  std::string text = "{";
  for (const auto& [name, value] : fields)
    text += (text.size() > 1 ? ", " : "") + string(name) + ": " + value;
  return text + "}";
}

}  // namespace audiopost::json
