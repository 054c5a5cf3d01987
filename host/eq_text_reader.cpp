// Reads parametric-EQ text: lines to tokens, tokens to filters, in the many ways in which people write them.
#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/eq_text_filters.h"

namespace host::eq {
namespace {

// ---- Lines to tokens -------------------------------------------------------------------------------
std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// Up to a comment, with every kind of blank as a space and every minus as a hyphen. No-break spaces between digits group
// thousands and go away.
std::string plain(std::string_view line) {
  std::string out;
  line = line.substr(0, line.find('#'));
  for (size_t i = 0; i < line.size(); ++i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    const auto here = [&](std::string_view bytes) { return line.compare(i, bytes.size(), bytes) == 0; };
    const size_t blank = here("\u00a0") ? 2 : here("\u202f") ? 3 : 0;
    if (blank) {
      const bool groups = !out.empty() && std::isdigit(static_cast<unsigned char>(out.back())) &&
                          i + blank < line.size() &&
                          std::isdigit(static_cast<unsigned char>(line[i + blank]));
      if (!groups) out += ' ';
      i += blank - 1;
    } else if (here("\u2212")) {
      out += '-';
      i += 2;
    } else {
      out += byte < 0x20 ? ' ' : line[i];
    }
  }
  return out;
}

// A number as people write it: "1,5" and "1,234.5" and "1.234,5" too, the last mark being the decimal one.
std::optional<double> number(std::string text) {
  const size_t mark = text.find_last_of(".,");
  std::string digits;
  for (size_t i = 0; i < text.size(); ++i)
    if (i == mark)
      digits += '.';
    else if (text[i] != '.' && text[i] != ',')
      digits += text[i];
  const char* first = digits.c_str() + (*digits.c_str() == '+' ? 1 : 0);
  double value = 0;
  const auto parsed = std::from_chars(first, digits.c_str() + digits.size(), value);
  if (parsed.ec != std::errc() || parsed.ptr != digits.c_str() + digits.size() || !std::isfinite(value))
    return {};
  return value;
}

// "1,250", which as a decimal would hardly have three places.
bool groups_thousands(const std::string& text) {
  const size_t comma = text.find_last_of(".,");
  return comma != std::string::npos && text[comma] == ',' && comma <= 3 && text.size() == comma + 4 &&
         text[0] != '0';
}

constexpr const char* kTypes[] = {"PK", "PEQ", "MODAL", "LS", "LSC", "HS", "HSC", "LP", "LPQ", "HP", "HPQ"};

class LineReader {
 public:
  LineReader(const std::string& file, int line, const std::string& text) : file_(file), line_(line) {
    for (size_t at = 0; (at = text.find_first_not_of(' ', at)) != std::string::npos;) {
      const size_t end = std::min(text.find(' ', at), text.size());
      split(text.substr(at, end - at));
      at = end;
    }
  }

  double preamp() {
    const double value = read("Preamp", "DB");
    if (more()) fail("Preamp", "'" + peek() + "' is not understood");
    if (std::fabs(value) > 200.0) fail("Preamp", "is out of range");
    return value;
  }

  Filter filter(unsigned channels) {
    Filter f;
    f.line = line_;
    f.channels = channels;
    const std::string status = next();
    f.on = upper(status) == "ON";
    if (!f.on && upper(status) != "OFF") fail("", "'" + status + "' stands where ON or OFF should");
    f.written = next();
    if (f.written.empty()) fail("", "has no filter type");
    f.type = upper(f.written);
    if (f.type == "LSQ" || f.type == "HSQ") f.type.pop_back();
    f.known = std::find(std::begin(kTypes), std::end(kTypes), f.type) != std::end(kTypes);
    const bool shelf = f.type == "LS" || f.type == "HS" || f.type == "LSC" || f.type == "HSC";
    if (shelf && more() && number(peek())) f.slope_dB = read("slope", "DB");
    // "LS Q": the kind that has a Q, which follows later.
    if (upper(peek()) == "Q" && !(at_ + 1 < tokens_.size() && number(tokens_[at_ + 1]))) ++at_;
    while (more()) {
      const std::string written = next(), word = upper(written);
      if (word == "FC") {
        f.fc = frequency();
      } else if (word == "GAIN") {
        f.gain_dB = read("Gain", "DB");
      } else if (word == "Q") {
        f.q = read("Q", "");
      } else if (word == "BW") {
        skip("OCT");
        f.octaves = read("BW", "OCT");
      } else if (f.known) {
        if (word == "T60") break;  // what a room correction aims at; the filter is given by the rest
        fail("", "'" + written + "' is not understood");
      } else {
        break;
      }
    }
    return f;
  }

  // Those of both channels that are named; the others are appended to `unknown`.
  unsigned channels(std::string& unknown) {
    unsigned all = 0;
    while (more()) {
      const std::string written = next(), name = upper(written);
      const unsigned bits = name == "ALL"                ? kBoth
                            : name == "L" || name == "1" ? 1
                            : name == "R" || name == "2" ? 2
                                                         : 0;
      if (bits == 0) unknown += " " + written;
      all |= bits;
    }
    return all;
  }

  [[noreturn]] void fail(const std::string& field, const std::string& text) const {
    throw FileError(file_, line_, field, text);
  }

 private:
  // A unit may cling to its number: "-6.2DB" is two tokens.
  void split(const std::string& word) {
    const size_t end = word.find_first_not_of("+-0123456789.,");
    if (!number(word) && end != std::string::npos && number(word.substr(0, end))) {
      tokens_.push_back(word.substr(0, end));
      tokens_.push_back(word.substr(end));
    } else {
      tokens_.push_back(word);
    }
  }

  bool more() const { return at_ < tokens_.size(); }
  std::string peek() const { return more() ? tokens_[at_] : ""; }
  std::string next() { return more() ? tokens_[at_++] : ""; }
  bool skip(const char* word) {
    if (upper(peek()) != word) return false;
    ++at_;
    return true;
  }

  double frequency() {
    const bool groups = groups_thousands(peek());
    const double value = read("Fc", "");
    const bool kilo = skip("KHZ") || skip("K");
    skip("HZ");
    return kilo || groups ? value * 1000.0 : value;
  }

  double read(const char* field, const char* unit) {
    if (!more()) fail(field, "has no value");
    const std::string text = next();
    const std::optional<double> value = number(text);
    if (!value) fail(field, "'" + text + "' is not a number");
    if (*unit) skip(unit);
    return *value;
  }

  const std::string& file_;
  const int line_;
  std::vector<std::string> tokens_;
  size_t at_ = 0;
};

// ---- Lines to filters ------------------------------------------------------------------------------
// Lines that begin with none of these words are headings, or commands for the program that plays.
class TextReader {
 public:
  TextReader(const std::string& file, std::vector<std::string>& notes) : file_(file), notes_(notes) {}

  Text read(std::string_view text) {
    while (!text.empty()) {
      const size_t end = std::min(text.find('\n'), text.size());
      std::string line = plain(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
      ++line_;
      if (line.compare(0, 3, "\xef\xbb\xbf") == 0) line.erase(0, 3);  // byte-order mark
      const size_t start = line.find_first_not_of(' '), colon = line.find(':');
      if (start != std::string::npos && colon != std::string::npos)
        read_command(line.substr(start, colon - start), line.substr(colon + 1));
    }
    return std::move(result_);
  }

 private:
  void read_command(std::string written, const std::string& rest) {
    while (!written.empty() &&
           (written.back() == ' ' || std::isdigit(static_cast<unsigned char>(written.back()))))
      written.pop_back();
    const std::string command = upper(written);
    LineReader reader(file_, line_, rest);
    if (command == "PREAMP") {
      const double preamp_dB = reader.preamp();
      for (unsigned ch = 0; ch < 2; ++ch)
        if (channels_ >> ch & 1) result_.preamp_dB[ch] += preamp_dB;
      heard();
    } else if (command == "FILTER") {
      result_.filters.push_back(reader.filter(channels_));
      heard();
    } else if (command == "CHANNEL") {
      std::string unknown;
      channels_ = reader.channels(unknown);
      if (!unknown.empty()) note("left out: what is for channel" + unknown);
    } else if (command == "GRAPHICEQ" || command == "CONVOLUTION" || command == "INCLUDE" ||
               command == "DELAY" || command == "COPY") {
      note("left out: " + written);
    }
  }

  void heard() {
    result_.channels |= channels_;
    result_.empty = false;
  }

  void note(const std::string& text) { notes_.push_back(remark(file_, line_, text)); }

  const std::string& file_;
  std::vector<std::string>& notes_;
  Text result_;
  int line_ = 0;
  unsigned channels_ = kBoth;  // that the next line is for
};

}  // namespace

std::string remark(const std::string& file, int line, const std::string& text) {
  return FileError(file, line, "", text).what();
}

Text read(std::string_view text, const std::string& file, std::vector<std::string>& notes) {
  return TextReader(file, notes).read(text);
}

}  // namespace host::eq
