// What the chain will make of a tuning record, told before it does: the findings of audiopost_check.h in words.
#pragma once

#include <string>
#include <vector>

#include "audiopost_check.h"
#include "host/tuning.h"

namespace host {

enum class Severity {
  note = AUDIOPOST_NOTE,  // truncated, clamped, ignored or a little noisy: it may still be what is wanted
  warning = AUDIOPOST_WARNING,    // the chain complains and goes on, or the sound cannot be what is wanted
  unstable = AUDIOPOST_UNSTABLE,  // the chain runs, but what comes out is no sound
  fatal = AUDIOPOST_FATAL,        // the chain ends the process, or AudioPost_Init returns null
};

struct Finding {
  Severity severity;
  std::string where;    // "EQ10 channel 0 band 3"
  std::string text;     // "type 9 is unknown; the chain would end the process"
  std::string message;  // what the library will write to standard error, without the "LOG (…), " and the line
                        // feeds; empty where it says nothing
  audiopost_finding cause;

  bool refused() const { return AUDIOPOST_REFUSED(cause.severity); }
};

// The findings in the order of the record. Nothing refused and no message among them: the record runs through a
// chain without a word beyond the banner and the listing of its settings, and gives sound.
//  block  frames in each block, the swFrmLen of AudioPost_Init: auto gain ends the process when its step is
//  shorter
std::vector<Finding> check(const Record& record, int block = 1024);

// Whether any finding is fatal: there would be no chain, or soon no process.
bool unusable(const std::vector<Finding>& findings);
// The first finding for which the record is refused, fatal or unstable; null where there is none.
const Finding* refusal(const std::vector<Finding>& findings);

}  // namespace host
