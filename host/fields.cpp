#include "host/fields.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "src/check/number.h"

namespace host {
namespace {

// Under "EQ10.channel0.band3" in the text form, "EQ10 channel 0 band 3" for people.
Table named(const check::Where& where) {
  Table table{
      check::kEffects[where.effect].name, check::kEffects[where.effect].name, where.channel, false, {}};
  if (where.channel >= 0) {
    table.path += ".channel" + std::to_string(where.channel);
    table.where += " channel " + std::to_string(where.channel);
  }
  if (where.band < 0) return table;
  if (where.effect == AUDIOPOST_EFFECT_EQ10) {
    table.path += ".band" + std::to_string(where.band);
    table.where += " band " + std::to_string(where.band);
    table.one_line = true;
  } else {
    table.path += std::string(".") + check::kDrcBands[where.band].name;
    table.where += std::string(" ") + check::kDrcBands[where.band].name + " band";
  }
  return table;
}

// A group each; but an effect's enable flag stands in one table with settings that belong to no channel.
std::vector<Table> make_tables() {
  std::vector<Table> all;
  for (const check::Group& group : check::kGroups) {
    Table table = named(group.where);
    if (all.empty() || all.back().path != table.path) all.push_back(std::move(table));
    for (const check::Field& f : group.fields)
      all.back().fields.push_back({group.start + f.offset, f.name, f.kind, f.unit, f.hint, f.least, f.most});
  }
  return all;
}

}  // namespace

const std::vector<Table>& tables() {
  static const std::vector<Table> all = make_tables();
  return all;
}

const Table& table_of_channel0(const Table& table) {
  std::string path = table.path;
  path[path.find(".channel") + sizeof ".channel" - 1] = '0';
  return *std::find_if(tables().begin(), tables().end(), [&](const Table& t) { return t.path == path; });
}

void copy_from_channel0(Record& record, const Table& table) {
  const Table& from = table_of_channel0(table);
  for (size_t i = 0; i < table.fields.size(); ++i)
    record[static_cast<size_t>(table.fields[i].index)] = record[static_cast<size_t>(from.fields[i].index)];
}

Place place(int index) {
  for (const Table& table : tables())
    for (const Field& field : table.fields)
      if (field.index == index) return {&table, &field};
  return {nullptr, nullptr};
}

// ---- Effects ---------------------------------------------------------------------------------------
int settings_start(const Record& record, audiopost_effect effect, int channel) {
  const check::Effect& place = check::kEffects[effect];
  return place.section + (field_as_int(record, AUDIOPOST_CHANNEL_LINK) ? 0 : place.stride * channel);
}

bool runs(const Record& record, audiopost_effect effect) {
  return field_as_int(record, check::kEffects[effect].flag) == 1;
}

int distinct_channels(const Record& record) {
  return field_as_int(record, AUDIOPOST_CHANNEL_LINK) || field_as_int(record, AUDIOPOST_CHANNELS) < 2 ? 1 : 2;
}

// ---- Values ----------------------------------------------------------------------------------------
const char* filter_name(int code) {
  return code >= 0 && code < check::kFilterTypes ? check::kFilterNames[code] : nullptr;
}

int filter_code(std::string_view name) {
  const auto begin = std::begin(check::kFilterNames), end = std::end(check::kFilterNames);
  const auto at = std::find(begin, end, name);
  return at == end ? -1 : static_cast<int>(at - begin);
}

std::string shortest(float value, bool whole) {
  char text[check::kNumberLength];
  check::shortest(value, whole, text);
  if (!std::isfinite(value)) return text;
  // Readers go by way of double. Should that round to a neighbour (the decimal lies within a double's
  // rounding of the middle between two floats), the double's own digits do not.
  double back = 0;
  std::from_chars(text, text + std::strlen(text), back);
  return static_cast<float>(back) == value ? text : check::shortest(double{value}, whole, text);
}

std::string range(const Field& field) {
  return std::isinf(field.least) ? "" : shortest(field.least, true) + " ... " + shortest(field.most, true);
}

std::string with_unit(const Field& field, float value) {
  const uint32_t bits = bits_of(value);
  if (field.kind == Kind::flag && (bits == bits_of(0.0f) || bits == bits_of(1.0f)))
    return bits ? "on" : "off";
  if (field.kind == Kind::filter && value == std::floor(value) && value >= 0.0f && value < 8.0f)
    return filter_name(static_cast<int>(value));
  const std::string number = shortest(value, true);
  return *field.unit ? number + " " + field.unit : number;
}

std::string hex(float value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", bits_of(value));
  return text;
}

uint32_t bits_of(float value) {
  uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

float float_of(uint32_t bits) {
  float value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace host
