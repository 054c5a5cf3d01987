// libaudiopost-check as a device uses it. Its rules are tested in host/check_test.cpp.
#include <cstring>

#include "audiopost_check.h"
#include "full_record.h"

extern "C" int checked_from_c(const float* record, char* text, int room);

namespace {

using namespace support;

// Six findings, the third and the fifth of them grave.
Record much_to_say() {
  Record r = full_record();
  r[AUDIOPOST_CHANNEL_LINK] = 2;
  r[AUDIOPOST_BASS_SECTION + AUDIOPOST_BASS_DRIVE] = 12.5f;
  r[AUDIOPOST_EXCITER_SECTION + AUDIOPOST_EXCITER_CUTOFF] = 24000;
  r[AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_TYPE] = 9;
  return r;
}

std::vector<audiopost_finding> all(const Record& record) {
  std::vector<audiopost_finding> findings(100);
  findings.resize(size_t(audiopost_check(record.data(), 480, findings.data(), int(findings.size()))));
  return findings;
}

}  // namespace

TEST_CASE("the checker fills the room that there is and counts all findings") {
  const Record record = much_to_say();
  const std::vector<audiopost_finding> expected = all(record);
  REQUIRE(expected.size() > 4);
  for (int room = 0; room <= int(expected.size()) + 1; ++room) {
    std::vector<audiopost_finding> out(expected.size() + 2);
    std::memset(out.data(), 0x55, out.size() * sizeof out[0]);
    const auto untouched = out;
    CHECK(audiopost_check(record.data(), 480, room ? out.data() : nullptr, room) == int(expected.size()));
    const size_t filled = std::min(size_t(room), expected.size());
    CHECK(std::memcmp(out.data(), expected.data(), filled * sizeof out[0]) == 0);
    CHECK(std::memcmp(&out[filled], &untouched[filled], (out.size() - filled) * sizeof out[0]) == 0);
  }
  CHECK(audiopost_check(record.data(), 480, nullptr, 100) == int(expected.size()));
}

TEST_CASE("the gravest finding decides, and from unstable on a record is refused") {
  const std::pair<int, float> worse[] = {
      {AUDIOPOST_CHANNEL_LINK, 0},
      {AUDIOPOST_MAXIMIZER_SECTION + AUDIOPOST_MAXIMIZER_CEILING, 1},
      {AUDIOPOST_BASS_SECTION + AUDIOPOST_BASS_DRIVE, 12.5f},
      {AUDIOPOST_EXCITER_SECTION + AUDIOPOST_EXCITER_CUTOFF, 24000},
      {AUDIOPOST_BIT_RATE, 8},
  };
  Record record = full_record();
  int severity = AUDIOPOST_NOTHING;
  for (const auto& [index, value] : worse) {  // one after another
    record[size_t(index)] = value;
    CHECK(audiopost_check_worst(record.data(), 480) == severity);
    char text[512];
    CHECK((checked_from_c(record.data(), text, sizeof text) > 0) == (severity >= AUDIOPOST_UNSTABLE));
    ++severity;
  }
}

TEST_CASE("sentences fit the room as snprintf's do, and their halves make the whole") {
  for (const audiopost_finding& f : all(much_to_say())) {
    char where[512], reason[512], text[512];
    audiopost_check_where(&f, where, sizeof where);
    audiopost_check_reason(&f, reason, sizeof reason);
    const int length = audiopost_check_text(&f, text, sizeof text);
    const std::string whole = std::string(where) + ": " + reason;
    CHECK(text == whole);
    CHECK(length == int(whole.size()));
    CHECK(audiopost_check_text(&f, nullptr, 0) == length);
    for (const int room : {1, 2, 10, length, length + 1}) {
      char cut[512];
      std::memset(cut, '#', sizeof cut);
      CHECK(audiopost_check_text(&f, cut, room) == length);
      CHECK(cut == whole.substr(0, size_t(room) - 1));
      CHECK(cut[room] == '#');
    }
  }
}

TEST_CASE("a finding that never was gives words without harm") {
  for (const int broken : {-1, 9, 1000, INT32_MAX, INT32_MIN}) {
    audiopost_finding f;
    std::memset(&f, 0, sizeof f);
    for (int rule = 0; rule < 100; ++rule)
      for (int32_t* field : {&f.effect, &f.channel, &f.band, &f.fields, &f.index[0], &f.index[1]}) {
        f.rule = rule;
        const int32_t kept = *field;
        *field = broken;
        char text[512];
        CHECK(audiopost_check_text(&f, text, sizeof text) < int(sizeof text));
        *field = kept;
      }
  }
  CHECK(std::string(audiopost_check_severity_name(7)) == "nothing");
}
