// Two tuning records side by side, in effects and units.
#pragma once

#include <string>
#include <vector>

#include "host/tuning.h"

namespace host {

struct Difference {
  std::string where;     // "EQ10 channel 0 band 3", as in a Finding
  std::string field;     // "boost"
  std::string from, to;  // "2.5 dB"
};

// Every field whose bits differ, in the order of the record.
std::vector<Difference> diff(const Record& from, const Record& to);

}  // namespace host
