// The parametric-EQ text that measuring programs, headphone-EQ collections and system-wide equalizers
// exchange:
//   Preamp: -6.2 dB
//   Filter 1: ON PK Fc 105 Hz Gain -3.1 dB Q 0.70
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/tuning.h"

namespace host {

// Puts a text's filters into EQ10 and its preamp into the channel gain, and turns EQ10 on.
//   PK           bell, with Q, or BW in octaves
//   LS, HS       shelf of slope S = 1, or of the given Q; Fc is the middle of the slope
//   LSC, HSC     shelf with Q, Fc in the middle of the slope; "LSC 12 dB" gives the slope in dB per octave
//   instead
//                (then Fc is the corner where "LS 12 dB" stands, without the C)
//   LP, LPQ, HP, HPQ  second-order low- and high-pass, with Q (1/sqrt(2) where none is given)
// A shelf's Q becomes the designer's slope, S = 1 / (1 + (1/Q^2 - 2) / (A + 1/A)) with A = 10^(gain/40).
//  channel  the channel to set, 0 or 1; -1: all of them, by way of channel 0's record when the record is
//  linked Returns what a tuner has to know: filters beyond the tenth, values out of the designer's range,
//  lines left out. Throws FileError for lines that are not understood.
std::vector<std::string> import_eq(Record& record, std::string_view text, const std::string& file,
                                   int channel = -1);

// EQ10 of one channel as such text, the channel gain as the preamp; import_eq gives the same response back.
// Band-pass and Butterworth bands have no word there; what could not be written is appended to `left_out`.
std::string export_eq(const Record& record, int channel, std::vector<std::string>& left_out);

}  // namespace host
