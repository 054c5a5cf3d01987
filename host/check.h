// What the chain will make of a tuning record, told before it does.
#pragma once

#include <string>
#include <vector>

#include "host/tuning.h"

namespace host {

enum class Severity {
  note,     // a value is truncated, clamped or ignored; the sound may still be what is wanted
  warning,  // the chain complains and goes on, or the sound cannot be what is wanted
  fatal,    // the chain ends the process, or AudioPost_Init returns null
};

struct Finding {
  Severity severity;
  std::string where;    // "EQ10 channel 0 band 3"
  std::string text;     // "type 9 is unknown; the chain would end the process"
  std::string message;  // what the library will write to standard error, without the "LOG (…), " and the line
                        // feeds; empty where it says nothing
  bool unstable = false;  // a filter will blow up: what comes out is no sound
};

// The findings in the order of the record. Nothing fatal and no message among them: the record runs through a
// chain without a word beyond the banner and the listing of its settings.
//  block  frames in each block, the swFrmLen of AudioPost_Init: auto gain ends the process when its step is
//  shorter
std::vector<Finding> check(const Record& record, int block = 1024);

// Whether any finding is fatal.
bool unusable(const std::vector<Finding>& findings);

}  // namespace host
