#include "host/tuning.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include "host/fields.h"
#include "host/file.h"
#include "host/presets.h"

#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "records on disk are little-endian, as they are in memory");

namespace host {

FileError::FileError(const std::string& file_, int line_, const std::string& field_, const std::string& text)
    : std::runtime_error(file_ + ":" + (line_ ? std::to_string(line_) + ":" : "") + " " +
                         (field_.empty() ? "" : field_ + ": ") + text),
      file(file_),
      field(field_),
      line(line_) {}

int field_as_int(const Record& record, int index) {
  const double value = record[static_cast<size_t>(index)];
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return value == value ? static_cast<int>(value) : 0;
}

// ---- Writing ---------------------------------------------------------------------------------------
namespace {

constexpr char kUnread[] = "unread";
constexpr char kHead[] =
    R"(# Tuning record of the effect chain. A field that is left out is 0. Times are in ms, levels in dB below full scale.
# An integer is truncated toward zero; "0x7fc00001" gives the bits of a float that has no decimal form.
# Where channel_link is false, an effect that has no tables for channel 1 uses those of channel 0 there too.
)";
constexpr char kEqHead[] =
    R"(# type   Parametric, LowShelf, HighShelf, GeneralLP, GeneralHP, BandPass, ButterworthLP or ButterworthHP
# fc     Hz, below half the sample rate
# Q      0.01 ... 16; for shelves the slope S, 0.01 ... 2; for BandPass the width in octaves, 0.01 ... 11
# boost  dB, -20 ... 20
)";

// As TOML. A NaN keeps its bits only as a string.
std::string value_text(Kind kind, float value) {
  if (std::isnan(value)) return '"' + hex(value) + '"';
  const uint32_t bits = bits_of(value);
  if (kind == Kind::flag && (bits == bits_of(0.0f) || bits == bits_of(1.0f))) return bits ? "true" : "false";
  if (kind == Kind::filter)
    for (int code = 0; const char* name = filter_name(code); ++code)
      if (bits == bits_of(static_cast<float>(code))) return '"' + std::string(name) + '"';
  return shortest(value, kind != Kind::number);
}

bool all_zero(const Record& record, const Table& table) {
  return std::all_of(table.fields.begin(), table.fields.end(), [&](const Field& field) {
    return bits_of(record[static_cast<size_t>(field.index)]) == 0;
  });
}

// "EQ10.channel1" for each of that channel's bands.
std::string channel_path(const Table& table) {
  return table.path.substr(0, table.path.find(".channel") + sizeof ".channel0" - 1);
}

// Whether tables of channel 1 that a text leaves out are those of channel 0; else they are zero.
bool fills_channel1(const Record& record) {
  return field_as_int(record, AUDIOPOST_CHANNEL_LINK) == 0 && field_as_int(record, AUDIOPOST_CHANNELS) > 1;
}

// Whether a channel's tables may be left out of the text, because all of them are zero and are read as that.
bool left_out(const Record& record, const Table& table) {
  if (table.channel < 1) return false;
  const std::string channel = channel_path(table);
  const bool filled = fills_channel1(record);
  for (const Table& other : tables())
    if (other.path.compare(0, channel.size(), channel) == 0 &&
        !(all_zero(record, other) && (!filled || all_zero(record, table_of_channel0(other)))))
      return false;
  return true;
}

void write_one_line(const Record& record, const Table& table, std::string& out) {
  const size_t dot = table.path.rfind('.');
  out += table.path.substr(dot + 1) + " = { ";
  for (const Field& field : table.fields)
    out += (&field == &table.fields.front() ? "" : ", ") + std::string(field.name) + " = " +
           value_text(field.kind, record[static_cast<size_t>(field.index)]);
  out += " }\n";
}

void write_table(const Record& record, const Table& table, std::string& out) {
  for (const Field& field : table.fields) {
    std::string line = field.name;
    line += " = ";
    line += value_text(field.kind, record[static_cast<size_t>(field.index)]);
    std::string comment;
    for (const std::string& part : {std::string(field.unit), std::string(field.hint), range(field)})
      comment += (comment.empty() || part.empty() ? "" : "; ") + part;
    if (!comment.empty()) line.append(line.size() < 26 ? 26 - line.size() : 1, ' ') += "# " + comment;
    out += line + "\n";
  }
}

void write_unread(const Record& record, std::string& out) {
  bool first = true;
  for (int i = 0; i < AUDIOPOST_PARAM_LENGTH; ++i) {
    const float value = record[static_cast<size_t>(i)];
    if (bits_of(value) == 0 || place(i).field) continue;
    if (first) out += "\n# Indices that the chain does not read as settings, and what they hold.\n[unread]\n";
    first = false;
    out += std::to_string(i) + " = " + value_text(Kind::number, value) + "\n";
  }
}

}  // namespace

std::string to_text(const Record& record) {
  std::string out = kHead, open;
  for (const Table& table : tables()) {
    if (left_out(record, table)) continue;
    // One-line tables stand in the table that they belong to.
    const std::string header = table.one_line ? table.path.substr(0, table.path.rfind('.')) : table.path;
    if (header != open) {
      out += "\n[" + header + "]\n";
      if (table.one_line && table.channel == 0) out += kEqHead;
    }
    open = header;
    table.one_line ? write_one_line(record, table, out) : write_table(record, table, out);
  }
  write_unread(record, out);
  return out;
}

// ---- Reading ---------------------------------------------------------------------------------------
namespace {

class Reader {
 public:
  Reader(std::string_view text, const std::string& file) : file_(file) {
    for (const Table& table : tables()) {
      for (size_t dot = table.path.find('.'); dot != std::string::npos; dot = table.path.find('.', dot + 1))
        known_.insert({table.path.substr(0, dot), nullptr});
      known_.insert({table.path, nullptr});
      for (const Field& field : table.fields) known_[table.path + "." + field.name] = &field;
    }
    check_plain(text, file);
    try {
      const toml::table root = toml::parse(text, file);
      read_table(root, "");
      if (fills_channel1(record)) fill_channel1();
    } catch (const toml::parse_error& error) {
      throw FileError(file_, static_cast<int>(error.source().begin.line), "",
                      std::string(error.description()));
    }
  }

  Record record{};

 private:
  // The text form needs no letters beyond ASCII but in comments, and no strings of several lines. Neither gets as far as
  // the parser, whose table of such letters is not made for every byte sequence.
  static void check_plain(std::string_view text, const std::string& file) {
    int line = 1;
    char quote = 0;
    bool comment = false;
    for (size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (c == '\n') {
        ++line, quote = 0, comment = false;
      } else if (comment) {
        continue;
      } else if (static_cast<unsigned char>(c) >= 0x80) {
        throw FileError(file, line, "", "holds a letter beyond ASCII, which only comments may");
      } else if (text.compare(i, 3, "\"\"\"") == 0 || text.compare(i, 3, "'''") == 0) {
        throw FileError(file, line, "", "holds a string of several lines");
      } else if (quote != 0) {
        if (c == quote && !(c == '"' && text[i - 1] == '\\')) quote = 0;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (c == '#') {
        comment = true;
      }
    }
  }

  void read_table(const toml::table& table, const std::string& path) {
    for (const auto& [key, node] : table) {
      const std::string name = (path.empty() ? "" : path + ".") + std::string(key.str());
      if (name == kUnread) {
        read_unread(node);
        continue;
      }
      const auto known = known_.find(name);
      if (known == known_.end()) fail(key.source(), name, "is unknown");
      const Field* const field = known->second;
      if (field)
        record[static_cast<size_t>(field->index)] = value(node, name, field->kind);
      else if (node.is_table())
        read_table(*node.as_table(), *present_.insert(name).first);
      else
        fail(node.source(), name, "is not a table");
    }
  }

  void fill_channel1() {
    for (const Table& table : tables())
      if (table.channel == 1 && present_.count(channel_path(table)) == 0) copy_from_channel0(record, table);
  }

  void read_unread(const toml::node& node) {
    if (!node.is_table()) fail(node.source(), kUnread, "is not a table");
    for (const auto& [key, entry] : *node.as_table()) {
      const std::string_view text = key.str();
      const std::string name = std::string(kUnread) + "." + std::string(text);
      int index = -1;
      const auto parsed = std::from_chars(text.data(), text.data() + text.size(), index);
      if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || index < 0 ||
          index >= AUDIOPOST_PARAM_LENGTH || std::to_string(index) != text)
        fail(key.source(), name, "is not an index from 0 to 499");
      if (const Place at = place(index); at.field)
        fail(key.source(), name, "is " + at.table->path + "." + at.field->name + "; set it there");
      record[static_cast<size_t>(index)] = value(entry, name, Kind::number);
    }
  }

  float value(const toml::node& node, const std::string& name, Kind kind) {
    if (const auto number = node.value_exact<double>()) {
      const float nearest = static_cast<float>(*number);
      if (std::isinf(nearest) && !std::isinf(*number)) fail(node.source(), name, "is beyond a 32-bit float");
      return nearest;
    }
    if (const auto number = node.value_exact<int64_t>()) return static_cast<float>(*number);
    if (const auto flag = node.value_exact<bool>()) {
      if (kind == Kind::flag) return *flag ? 1.0f : 0.0f;
      fail(node.source(), name, "is true or false, not a number");
    }
    const auto text = node.value_exact<std::string_view>();
    if (!text) fail(node.source(), name, "is not a number");
    uint32_t bits = 0;
    if (text->size() == 10 && text->substr(0, 2) == "0x" &&
        std::from_chars(text->data() + 2, text->data() + 10, bits, 16).ptr == text->data() + 10)
      return float_of(bits);
    if (kind != Kind::filter) fail(node.source(), name, "is a string, not a number");
    const int code = filter_code(*text);
    if (code < 0) fail(node.source(), name, "\"" + std::string(*text) + "\" is no filter type");
    return static_cast<float>(code);
  }

  [[noreturn]] void fail(const toml::source_region& source, const std::string& field,
                         const std::string& text) const {
    throw FileError(file_, static_cast<int>(source.begin.line), field, text);
  }

  const std::string file_;
  std::map<std::string, const Field*> known_;  // null for a table
  std::set<std::string> present_;              // the tables that the text has
};

// Whether TOML could hold these bytes: UTF-8 without control characters. No record that the chain accepts
// could: its version, close to 2.0 or not a number, has a byte of 0, 0x7f or 0xff.
bool is_text(std::string_view bytes) {
  int following = 0;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (following > 0 ? (byte & 0xc0) != 0x80 : byte >= 0x80 && (byte < 0xc2 || byte > 0xf4)) return false;
    if (following > 0) {
      --following;
    } else if (byte >= 0x80) {
      following = byte >= 0xf0 ? 3 : byte >= 0xe0 ? 2 : 1;
    } else if ((byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') || byte == 0x7f) {
      return false;
    }
  }
  return following == 0;
}

}  // namespace

Record from_text(std::string_view text, const std::string& file) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) text.remove_prefix(kByteOrderMark.size());
  return Reader(text, file).record;
}

// ---- Files -----------------------------------------------------------------------------------------
Record load_tuning(const std::string& path) {
  constexpr size_t kLongestText = size_t{1} << 20;
  const std::string bytes = read_file(path, kLongestText);
  const std::string name = path == "-" ? "standard input" : path;
  Record record;
  if (bytes.empty()) throw FileError(name, 0, "", "is empty");
  if (is_text(bytes)) return from_text(bytes, name);
  if (bytes.size() != sizeof record)
    throw FileError(name, 0, "",
                    "is neither text nor a tuning record: it has " + std::to_string(bytes.size()) +
                        " bytes, a record has " + std::to_string(sizeof record));
  std::memcpy(record.data(), bytes.data(), sizeof record);
  return record;
}

void save_record(const std::string& path, const Record& record) {
  write_file(path, {reinterpret_cast<const char*>(record.data()), sizeof record});
}

// ---- Presets ---------------------------------------------------------------------------------------
const std::vector<std::string>& preset_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const PresetText& preset : preset_texts()) all.emplace_back(preset.name);
    return all;
  }();
  return names;
}

std::string_view preset_text(const std::string& name) {
  for (const PresetText& preset : preset_texts())
    if (name == preset.name) return preset.text;
  throw std::out_of_range("no preset is called " + name);
}

Record preset(const std::string& name) { return from_text(preset_text(name), "preset " + name); }

}  // namespace host
