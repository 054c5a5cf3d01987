// Every field of the tuning record that the chain can read: where it stands, what it is called, its unit and
// range. The text form, the differences and the findings all speak of fields in the words of src/check/fields.h.
#pragma once

#include <string>
#include <vector>

#include "host/tuning.h"
#include "src/check/fields.h"

namespace host {

using Kind = check::Kind;

struct Field {
  int index;  // in the record
  const char* name;
  Kind kind;
  const char* unit;   // "" where it has none
  const char* hint;   // meaning, for people; may be ""
  float least, most;  // what a tuner would set, infinite where anything; the chain takes any value
};

// Fields that belong together: one effect, one channel of it, or one band of that.
struct Table {
  std::string path;   // in the text form: "EQ10.channel0.band3"
  std::string where;  // for people: "EQ10 channel 0 band 3"
  int channel;        // -1 where the fields belong to no channel
  bool one_line;      // written as band3 = { … }
  std::vector<Field> fields;
};

// All of them, in the order of the text form.
const std::vector<Table>& tables();

struct Place {
  const Table* table;
  const Field* field;
};
// What stands at an index of the record; nulls where the chain never reads.
Place place(int index);

// Channel 0's table with the fields of a channel's table.
const Table& table_of_channel0(const Table& table);
// Gives a channel's table what channel 0's holds.
void copy_from_channel0(Record& record, const Table& table);

// Where the settings of an effect for a channel start: channel 0's where the record is linked or the effect knows none.
int settings_start(const Record& record, audiopost_effect effect, int channel);
// Whether the chain runs an effect: its flag is exactly 1.
bool runs(const Record& record, audiopost_effect effect);
// Channels whose settings differ from channel 0's: 1 when the record is linked or mono, else 2.
int distinct_channels(const Record& record);

// "Parametric" for 0 and so on; null for a code that is unknown.
const char* filter_name(int code);
// The code of a name, -1 for an unknown name.
int filter_code(std::string_view name);

// The shortest decimal that is read back as the same float: "0.1", "48000", "-0.0", "inf"; with a point or an
// exponent unless `whole`. NaNs give "nan" and lose their payload.
std::string shortest(float value, bool whole = false);
// "-40 ... -5"; "" for a field without a range.
std::string range(const Field& field);
// A field's value with its unit: "2.5 dB", "on", "LowShelf".
std::string with_unit(const Field& field, float value);

// Its bits: "0x7fc00001".
std::string hex(float value);
uint32_t bits_of(float value);
float float_of(uint32_t bits);

}  // namespace host
