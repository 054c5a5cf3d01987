// Tuning records outside the library: as 2000 bytes, as TOML text that people write, and as built-in presets.
// Like all of host/ it uses nothing of the library but its public C interface.
#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace host {

// A tuning record. Copying one keeps every bit, NaN payloads included.
using Record = std::array<float, AUDIOPOST_PARAM_LENGTH>;

// What is wrong with a file, ready to print: "tune.toml:12: EQ10.channel0.band3.Q: is a string, not a
// number".
class FileError : public std::runtime_error {
 public:
  FileError(const std::string& file, int line, const std::string& field, const std::string& text);
  const std::string file, field;  // field is empty where the fault is not one field's
  const int line;                 // from 1; 0 where the fault is the whole file's
};

// The built-in presets, in the order that help texts list them: music, speech, night, tv, flat.
const std::vector<std::string>& preset_names();
// The commented TOML text of a preset. Throws std::out_of_range for any other name.
std::string_view preset_text(const std::string& name);
Record preset(const std::string& name);

// The record as commented TOML, one table per effect. from_text gives back the same 2000 bytes, also for
// fields that the chain never reads, for NaNs with their payload, infinities and negative zeros.
std::string to_text(const Record& record);

// The record that a TOML text describes. A field that the text leaves out is 0; an effect's settings for channel 1, where
// the channels are not linked and it has no table for them, are those of channel 0. Unknown tables and fields, values of
// a wrong type and numbers beyond the range of a 32-bit float are errors.
//  file  the name that errors give
//  Throws FileError.
Record from_text(std::string_view text, const std::string& file);

// Reads 2000 bytes of little-endian float32 or TOML text, whichever the file holds; "-" is standard input.
// Throws FileError.
Record load_tuning(const std::string& path);

// Writes the 2000 bytes, beside the path first and then renamed over it. Throws FileError.
void save_record(const std::string& path, const Record& record);

// A field of the record as an integer, as the chain reads it: toward zero, beyond the 32-bit range the
// nearest end, NaN is 0.
int field_as_int(const Record& record, int index);

}  // namespace host
