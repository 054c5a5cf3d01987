// Findings in words: a sentence per rule, and what the chain itself says.
#include <algorithm>
#include <cstring>

#include "check/checker.h"
#include "check/number.h"

namespace check {
namespace {

// Writes what fits and counts the rest, as snprintf does.
class Text {
 public:
  Text(char* to, int room) : to_(to), room_(to ? room : 0) {}
  void add(char c) {
    if (length_ + 1 < room_) to_[length_] = c;
    ++length_;
  }
  void add(const char* text) {
    while (*text) add(*text++);
  }
  void add(int value) {
    char text[kNumberLength] = "";
    *std::to_chars(text, text + sizeof text - 1, value).ptr = 0;
    add(text);
  }
  void add(float value) {
    char text[kNumberLength];
    add(shortest(value, true, text));
  }
  int end() {
    if (room_ > 0) to_[length_ < room_ ? length_ : room_ - 1] = 0;
    return length_;
  }

 private:
  char* const to_;
  const int room_;
  int length_ = 0;
};

// %n is the first field's name, %v its value, %i that as the chain reads an integer; %w and %x are the values of the
// second and third; %l, %m and %c the finding's least, most and count. Those that are rarer: sentence() below.
struct Sentence {
  int rule;
  const char* text;
};
constexpr Sentence kSentences[] = {
    {AUDIOPOST_RULE_NOT_FINITE, "%n is %f; the chain would play noise or nothing"},
    {AUDIOPOST_RULE_TRUNCATED, "%n %v is read as the integer %i"},
    {AUDIOPOST_RULE_OUT_OF_RANGE, "%n %v lies outside %l ... %m"},
    {AUDIOPOST_RULE_CLAMPED, "%n%q %v is clamped to %b"},
    {AUDIOPOST_RULE_GAIN_TOO_HIGH, "%n %v dB is more than a float can hold; the chain would play noise"},
    {AUDIOPOST_RULE_NEVER_RUNS,
     "%n is %i: the chain creates the effect but never runs it; 1 turns it on, 0 off"},
    {AUDIOPOST_RULE_STEREO_ONLY,
     "allows one or two channels and the record has %i; the chain would end the process"},
    {AUDIOPOST_RULE_FREQUENCY_LOW, "%n %v Hz is not above 0; its filter would be unstable"},
    {AUDIOPOST_RULE_FREQUENCY_HIGH,
     "%n %v Hz is not below half the sample rate, %m Hz; its filter would be unstable"},
    {AUDIOPOST_RULE_FILTER_INFINITE,
     "%n %v Hz%t: the filter's coefficients are not finite; the chain would play noise or nothing"},
    {AUDIOPOST_RULE_FILTER_UNSTABLE,
     "%n %v Hz%t: in single precision the filter has a pole on or outside the unit circle; it would be "
     "unstable"},
    {AUDIOPOST_RULE_FILTER_LINGERS,
     "%n %v Hz%t: in single precision the filter may never come to rest; a constant or a tone would stay"},
    {AUDIOPOST_RULE_FILTER_NOISE, "%n %v Hz%t: the filter's rounding noise reaches %r dBFS under loud music"},
    {AUDIOPOST_RULE_TIME_NEGATIVE, "%n %v ms is negative; the level would run away"},
    {AUDIOPOST_RULE_TIME_ZERO, "%n is 0; the change comes at once"},
    {AUDIOPOST_RULE_TIME_LONG, "%n %i ms is too long at this sample rate; it overflows"},
    {AUDIOPOST_RULE_HOLD_TIME, "%n has no effect"},
    {AUDIOPOST_RULE_SAMPLE_RATE, "%n %v leaves every filter without a frequency"},
    {AUDIOPOST_RULE_BIT_RATE, "%n %i is not 16, 24 or 32; AudioPost_Init would fail"},
    {AUDIOPOST_RULE_BIT_RATE_WIDE,
     "%n %i: the PCM is 16 bits wide all the same; levels would read %s dB too low and overloads wrap "
     "instead of "
     "clipping; use 16"},
    {AUDIOPOST_RULE_LINKED_ANYHOW, "%n %i links the channels as 1 does"},
    {AUDIOPOST_RULE_NO_CHANNELS, "%n %i: the chain would process nothing"},
    {AUDIOPOST_RULE_TOO_MANY_CHANNELS, "%n %i: AudioPost_Init allows %m at most"},
    {AUDIOPOST_RULE_BLOCK_LONG, "a block of %c frames is too long; AudioPost_Init would fail"},
    {AUDIOPOST_RULE_MORE_THAN_STEREO,
     "%n %i: process_file and all effects but AutoGain and EQ10 take two at most"},
    {AUDIOPOST_RULE_VERSION, "%n %v is not 2.0; AudioPost_Init would fail"},
    {AUDIOPOST_RULE_VERSION_NAN, "%n is not a number; the chain takes it for 2.0"},
    {AUDIOPOST_RULE_GAINS_BEYOND,
     "the record has input gains for two channels; channel 2 and up take theirs from the settings of "
     "AutoGain and "
     "what follows, from index 30 in steps of 5; link the channels"},
    {AUDIOPOST_RULE_UNREAD, "%u where the chain reads no setting: index %k"},
    {AUDIOPOST_RULE_IGNORED_LINKED, "is ignored: the channels are linked, all use channel 0"},
    {AUDIOPOST_RULE_IGNORED_MONO, "is ignored: the record has one channel"},
    {AUDIOPOST_RULE_LEVEL,
     "gains and resonances up to here may add up to more than a float can hold; the chain would play noise "
     "or nothing"},
    {AUDIOPOST_RULE_STEP_SHORT,
     "%n %v ms is %c samples, shorter than a block of %l; the chain would end the process"},
    {AUDIOPOST_RULE_WINDOW_LONG, "%n %v ms is too long; AudioPost_Init would fail"},
    {AUDIOPOST_RULE_WINDOW_NONE, "%n %v ms leaves no window to measure; the gain would stay at 0 dB"},
    {AUDIOPOST_RULE_METER,
     "%n %i Hz: the loudness meter's filters are not stable at this rate; the gain would follow wrong "
     "readings"},
    {AUDIOPOST_RULE_HARMONICS_HIGH,
     "three times %n %v Hz is not below half the sample rate; the harmonics' filter would be unstable"},
    {AUDIOPOST_RULE_SHAPER_INFINITE,
     "drive %v and blend %w divide by zero in the waveshaper; the chain would play noise"},
    {AUDIOPOST_RULE_SHAPER_JUMPS,
     "%n %v: above %m the waveshaper's curve jumps at zero; the start thumps and soft bass buzzes"},
    {AUDIOPOST_RULE_DRIVE, "%n %v makes a drive beyond all numbers"},
    {AUDIOPOST_RULE_THRESHOLD_HIGH, "%n %v dB is hardly ever reached"},
    {AUDIOPOST_RULE_BAND_COUNT, "%n is %i: bands would be run a wrong number of times; 1 turns it on"},
    {AUDIOPOST_RULE_FILTER_TYPE, "%n %i is unknown; the chain would end the process"},
    {AUDIOPOST_RULE_BUTTERWORTH_BOOST,
     "%n scales the feedback of a Butterworth filter too; set it to 0, or take GeneralLP or GeneralHP"},
    {AUDIOPOST_RULE_BANDS_BEYOND,
     "has bands for two channels; channel 2 and up read theirs from the settings of MultiBandDRC and what "
     "follows; "
     "link the channels"},
    {AUDIOPOST_RULE_CROSSOVER_BANDS, "%n %i is not 2, 3 or 4; the chain would %p"},
    {AUDIOPOST_RULE_COMPRESSES_ANYHOW, "%n %i compresses as 1 does"},
    {AUDIOPOST_RULE_SOME_COMPRESSED,
     "compressed bands are scaled by 1/%i, the others are not; gain_dB can make up"},
    {AUDIOPOST_RULE_BANDS_APART, "%d ends at %v Hz and %e starts at %w Hz; what lies between is lost"},
    {AUDIOPOST_RULE_BANDS_OVERLAP,
     "%d ends at %v Hz and %e starts at %w Hz; what lies between is heard twice"},
    {AUDIOPOST_RULE_NOISE_THRESHOLD_HIGH, "%n %v dB lies above expand_end %w dB%o"},
    {AUDIOPOST_RULE_EXPAND_END_HIGH, "%n %v dB lies above compress_start %w dB%o"},
    {AUDIOPOST_RULE_MAX_PEAK_LOW, "%n %v dB + max_gain %w dB lies above max_peak %x dB%o"},
    {AUDIOPOST_RULE_GAIN_BELOW_TABLE, "%n %v dB asks for a gain below %l dB; the chain's end there"},
    {AUDIOPOST_RULE_EXPANDER_STEEP, "%n equals expand_end; the expander would be infinitely steep"},
    {AUDIOPOST_RULE_NO_ROOM_TO_COMPRESS, "%n is not below 0 dB; the curve has no room to compress"},
    {AUDIOPOST_RULE_LIMITER_NO_KNEE,
     "%n %v dB: above %m dB the limiter has no knee and brings every level to 0 dB"},
    {AUDIOPOST_RULE_CEILING_HIGH, "%n %v dB is above full scale; the output would clip"},
};

int integer(float value) { return common::truncate_to_int(static_cast<double>(value)); }

// A finding may come from anywhere.
int fields_of(const audiopost_finding& f) { return std::clamp(f.fields, 0, AUDIOPOST_FINDING_FIELDS); }

const char* name_of(const audiopost_finding& f, int field) {
  Found found = find(f.effect, f.index[field]);
  if (!found.field) found = find(f.index[field]);  // an effect's finding about the header
  return found.field ? found.field->name : "value";
}

const char* drc_band_name(const audiopost_finding& f, int field) {
  const Found found = find(f.effect, f.index[field]);
  return found.group && found.group->where.band >= 0 ? kDrcBands[found.group->where.band].name : "band";
}

// What Q means to the filter type in the last field.
const char* meaning_of_q(const audiopost_finding& f) {
  const int last = fields_of(f) - 1;
  if (last < 1 || std::strcmp(name_of(f, last - 1), "Q") != 0) return "";
  const int type = integer(f.value[last]);
  return type == LowShelf || type == HighShelf ? " (here the slope S)"
         : type == BandPass                    ? " (here octaves)"
                                               : "";
}

void add_unread(Text& text, const audiopost_finding& f, bool indices) {
  if (!indices) {
    text.add(f.count);
    text.add(f.count == 1 ? " value stands" : " values stand");
    return;
  }
  for (int i = 0; i < fields_of(f); ++i) {
    if (i) text.add(", ");
    text.add(f.index[i]);
  }
  if (f.count > fields_of(f)) text.add(", ...");
}

void add_part(Text& text, const audiopost_finding& f, char part) {
  switch (part) {
    case 'n':
      return text.add(name_of(f, 0));
    case 'v':
      return text.add(f.value[0]);
    case 'w':
      return text.add(f.value[1]);
    case 'x':
      return text.add(f.value[2]);
    case 'i':
      return text.add(integer(f.value[0]));
    case 'l':
      return text.add(f.least);
    case 'm':
      return text.add(f.most);
    case 'c':
      return text.add(f.count);
    case 'b':
      return text.add(f.value[0] < f.least ? f.least : f.most);
    case 'd':
      return text.add(drc_band_name(f, 0));
    case 'e':
      return text.add(drc_band_name(f, 1));
    case 'f':
      return text.add(std::isnan(f.value[0]) ? "not a number" : "infinite");
    case 'k':
      return add_unread(text, f, true);
    case 'o':
      return text.add(f.off ? " (it is off, but the chain checks it all the same)" : "");
    case 'p':
      return text.add(integer(f.value[0]) < 1 ? "play nothing" : "leave bands out");
    case 'q':
      return text.add(meaning_of_q(f));
    case 'r':
      return text.add(std::round(f.noise_dBFS));
    case 's':
      return text.add(integer(f.value[0]) == 24 ? "48" : "96");
    case 't':
      if (fields_of(f) < 2) return;
      text.add(", Q "), text.add(f.value[1]);
      return text.add(meaning_of_q(f));
    case 'u':
      return add_unread(text, f, false);
    default:
      return text.add(part);
  }
}

void add_reason(Text& text, const audiopost_finding& f) {
  for (const Sentence& sentence : kSentences)
    if (sentence.rule == f.rule)
      for (const char* at = sentence.text; *at; ++at) {
        if (*at == '%')
          add_part(text, f, *++at);
        else
          text.add(*at);
      }
}

void add_where(Text& text, const audiopost_finding& f) {
  if (f.rule == AUDIOPOST_RULE_UNREAD) return text.add("unread");
  if (f.effect < 0 || f.effect >= AUDIOPOST_EFFECTS) return text.add("record");
  text.add(kEffects[f.effect].name);
  if (f.channel >= 0) text.add(" channel "), text.add(f.channel);
  if (f.band < 0) return;
  if (f.effect == AUDIOPOST_EFFECT_MULTIBAND_DRC && f.band <= AUDIOPOST_BAND_MID2) {
    text.add(' '), text.add(kDrcBands[f.band].name), text.add(" band");
  } else {
    text.add(" band "), text.add(f.band);
  }
}

}  // namespace
}  // namespace check

using check::Text;

int audiopost_check_where(const audiopost_finding* finding, char* text, int room) {
  Text to(text, room);
  check::add_where(to, *finding);
  return to.end();
}

int audiopost_check_reason(const audiopost_finding* finding, char* text, int room) {
  Text to(text, room);
  check::add_reason(to, *finding);
  return to.end();
}

int audiopost_check_text(const audiopost_finding* finding, char* text, int room) {
  Text to(text, room);
  check::add_where(to, *finding);
  to.add(": ");
  check::add_reason(to, *finding);
  return to.end();
}

const char* audiopost_check_message(const audiopost_finding* finding) {
  switch (finding->rule) {
    case AUDIOPOST_RULE_VERSION:
      return "The Version of Tuning Tool is Wrong, you should use version 2.00!";
    case AUDIOPOST_RULE_BIT_RATE:
      return "bit_rate is wrong!";
    case AUDIOPOST_RULE_STEREO_ONLY:
      return "Too Many Channel!";
    case AUDIOPOST_RULE_STEP_SHORT:
      return "frameLen is greater than steps! 0";
    case AUDIOPOST_RULE_FILTER_TYPE:
      return "ErrorXXX: You should choose a filter type!";
    case AUDIOPOST_RULE_CROSSOVER_BANDS:
      return finding->value[0] >= 5.0f ? "There is something wrong with crossover, please check again"
                                       : nullptr;
    case AUDIOPOST_RULE_NOISE_THRESHOLD_HIGH:
    case AUDIOPOST_RULE_EXPAND_END_HIGH:
    case AUDIOPOST_RULE_MAX_PEAK_LOW:
      return finding->effect == AUDIOPOST_EFFECT_AGC ? "wrong param for agc, please check again"
                                                     : "wrong param for MultiDRC, please check again";
    default:
      return nullptr;
  }
}

const char* audiopost_check_severity_name(int severity) {
  static const char* const names[] = {"nothing", "note", "warning", "unstable", "fatal"};
  return names[severity >= AUDIOPOST_NOTE && severity <= AUDIOPOST_FATAL ? severity : AUDIOPOST_NOTHING];
}
