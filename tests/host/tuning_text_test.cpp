// Tuning records as text and as files.
#include <sys/stat.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "host/check.h"
#include "host/diff.h"
#include "host/fields.h"
#include "host/file.h"
#include "host/files.h"
#include "host/tuning.h"
#include "support.h"

using host::Record;

namespace {

bool same(const Record& a, const Record& b) { return std::memcmp(a.data(), b.data(), sizeof a) == 0; }

}  // namespace

TEST_CASE("a record of any bits comes back from its text unchanged") {
  std::mt19937 random(1);
  // The last: a decimal that a double rounds to the float beside it.
  std::vector<float> special = {0.0f, -0.0f, 1, 2, 16777217.0f, 1e-45f, 3.4028235e38f, 0.1f, 7.038531e-26f};
  for (const uint32_t no_number : {0x7f800000u, 0xff800000u, 0x7fc00000u, 0xffc00001u, 0x7f800001u})
    special.push_back(host::float_of(no_number));
  for (int round = 0; round < 400; ++round) {
    Record record;
    for (float& value : record)
      value =
          round % 2 ? special[random() % special.size()] : host::float_of(static_cast<uint32_t>(random()));
    CHECK(same(host::from_text(host::to_text(record), "text"), record));
  }
}

TEST_CASE("every preset is taken by the chain without a word and says what each field is measured in") {
  CHECK(host::preset_names() == std::vector<std::string>{"music", "speech", "night", "tv", "flat"});
  for (const std::string& name : host::preset_names()) {
    CAPTURE(name);
    CHECK(host::check(host::preset(name)).empty());
    CHECK(host::preset_text(name).find("# dBFS") != std::string::npos);
  }
  const Record flat = host::preset("flat");
  for (size_t flag = 10; flag < 18; ++flag) CHECK(flat[flag] == 0.0f);
}

TEST_CASE("an unlinked text needs no tables for a channel 1 that is like channel 0") {
  std::string text(host::preset_text("music"));
  const auto replace = [&](const std::string& from, const std::string& to) {
    text.replace(text.find(from), from.size(), to);
  };
  replace("channel_link = true", "channel_link = false");
  Record record =
      host::from_text("\xef\xbb\xbf" + text + "[EQ10.channel1]\nband2 = { fc = 5.0 }\n", "marked");
  CHECK(record[20] == record[25]);
  CHECK(record[270] == 6000.0f);
  CHECK(record[370] == 6000.0f);
  CHECK(record[152] == 0.0f);  // the equalizer has a table of its own
  CHECK(record[162] == 5.0f);
  CHECK(same(host::from_text(host::to_text(record), "text"), record));
  std::fill(&record[300], &record[400], 0.0f);  // zeros of its own have to be written
  CHECK(same(host::from_text(host::to_text(record), "text"), record));
  replace("channels = 2", "channels = 1");
  CHECK(host::from_text(text, "mono")[370] == 0.0f);
  record[3] = 3e9f;  // channels: as many as an int holds
  CHECK(host::field_as_int(record, 3) == INT32_MAX);
}

TEST_CASE("a field that a text sets is the one that the library lists by that name") {
  std::string text = "[chain]\nsample_rate = 48000\nbit_rate = 16\nchannels = 2\nversion = 2.0\n";
  const auto is = [](const host::Field& field, const char* name) { return std::string(field.name) == name; };
  for (const host::Table& table : host::tables()) {
    if (table.path.rfind("chain", 0) == 0) continue;
    text += "[" + table.path + "]\n";
    for (const host::Field& field : table.fields)
      text += std::string(field.name) + " = " +
              (field.kind == host::Kind::flag     ? "true"
               : field.kind == host::Kind::filter ? "\"LowShelf\""
               : is(field, "crossover_band")      ? "4"
                                                  : std::to_string(field.index)) +  // no two are alike
              "\n";
  }
  const Record record = host::from_text(text, "text");
  const std::string log = support::in_child([&] { support::chain_of(record.data(), 480); }).err;
  const auto listing = [&](const std::string& path) {
    const std::string effect = path.substr(0, path.find('.'));
    return support::logged_by(log, (effect == "Agc" ? "Maximizer" : effect) + "_PrintPara");
  };
  for (const host::Table& table : host::tables())
    for (const host::Field& field : table.fields) {
      if (table.path.rfind("chain", 0) == 0 || is(field, "crossover_band") ||
          field.kind == host::Kind::flag || field.kind == host::Kind::filter)
        continue;
      std::string line = std::string("\n") + field.name + ":" + std::to_string(field.index);
      const size_t band =
          std::string("low  high mid1 mid2").find(table.path.substr(table.path.rfind('.') + 1));
      if (is(field, "freq_start")) line = "band:" + std::to_string(band / 5) + " ----" + line;
      CAPTURE(line);
      CHECK(listing(table.path).find(line) != std::string::npos);
    }
  std::istringstream switched("AutoGain BassEnhancer Exciter DeEsser EQ10 MultiBandDRC Agc Maximizer");
  size_t flag = 10;
  for (std::string effect; switched >> effect; ++flag)
    CHECK(host::from_text("[" + effect + "]\nenable = true\n", "switch")[flag] == 1.0f);
  CHECK(listing("EQ10").find("filterTypes:LowShelf\nfc:102.00\n") != std::string::npos);
}

TEST_CASE("errors in a text name file, line and field") {
  const struct {
    const char *text, *error;
  } rows[] = {
      {"[chain]\nchannels = \"two\"\n", "t.toml:2: chain.channels: is a string, not a number"},
      {"[chain]\n\nchanels = 2\n", "t.toml:3: chain.chanels: is unknown"},
      {"[chain.channel0]\ngain_dB = 1e39\n", "t.toml:2: chain.channel0.gain_dB: is beyond a 32-bit float"},
      {"EQ10 = 1\n", "t.toml:1: EQ10: is not a table"},
      {"[EQ10.channel0]\nband3 = { type = \"Bell\" }\n",
       "t.toml:2: EQ10.channel0.band3.type: \"Bell\" is no filter type"},
      {"[EQ10.channel2]\n", "t.toml:1: EQ10.channel2: is unknown"},
      {"[unread]\n500 = 1\n", "t.toml:2: unread.500: is not an index from 0 to 499"},
      {"[unread]\n30 = 1\n", "t.toml:2: unread.30: is AutoGain.target_i_dB; set it there"},
      {"[chain]\nchannels = \"\\\"#\u00e9\"\n",  // a quote inside the string, and no comment
       "t.toml:2: holds a letter beyond ASCII, which only comments may"},
  };
  const auto said = [](const char* toml) { return error_of([&] { host::from_text(toml, "t.toml"); }); };
  for (const auto& r : rows) CHECK(said(r.text) == r.error);
  CHECK(said("[chain]\nchannels = = 2\n").rfind("t.toml:2: ", 0) == 0);  // the parser's own words
  CHECK(said("[chain]\nchannels = 2 # two\n").empty());
}

TEST_CASE("a file is read as what it holds, and only a whole record is one") {
  const Place place;
  Record record = host::preset("speech");
  record[499] = host::float_of(0xffc12345);
  const std::string path = place.of("record.bin");
  host::save_record(path, record);
  CHECK(same(host::load_tuning(path), record));
  CHECK(same(host::load_tuning(place.write("record.toml", host::to_text(record))), record));
  // Nothing is left beside them.
  CHECK(place.names() == std::set<std::string>{"record.bin", "record.toml"});

  const std::string bytes(reinterpret_cast<const char*>(record.data()), sizeof record);
  const struct {
    std::string path, error;
  } rows[] = {
      {place.write("short", bytes.substr(1)),
       ": is neither text nor a tuning record: it has 1999 bytes, a record has 2000"},
      {place.write("long", bytes + '\1'),
       ": is neither text nor a tuning record: it has 2001 bytes, a record has 2000"},
      {place.write("no letter", "# \xf5\x80\x80\x80"),
       ": is neither text nor a tuning record: it has 6 bytes, a record has 2000"},
      {place.write("empty", ""), ": is empty"},
      {place.write("full", std::string(1 << 20, ' ')), ""},
      {place.write("large", std::string((1 << 20) + 1, ' ')), ": is longer than 1048576 bytes"},
      {place.path, ": is a directory"},
  };
  for (const auto& r : rows)
    CHECK(error_of([&] { host::load_tuning(r.path); }) == (r.error.empty() ? "" : r.path + r.error));
  // A disk that is full may say so only when the file is closed.
  CHECK(error_of([&] { host::save_record("/dev/full", record); }) == "/dev/full: no space left on device");
}

TEST_CASE("a rewritten file keeps its rights, a new one gets what the umask leaves") {
  const Place place;
  const auto rights = [&](const std::string& name) {
    return static_cast<int>(std::filesystem::status(place.of(name)).permissions());
  };
  for (int kept : {0600, 0640, 0666, 0755, 0444, 04750}) {
    CAPTURE(kept);
    std::filesystem::permissions(place.write("there", "before"), std::filesystem::perms(kept));
    host::write_file(place.of("there"), "after");
    CHECK(place.read("there") == "after");
    CHECK(rights("there") == kept);
    std::filesystem::remove(place.of("there"));
  }
  for (mode_t mask : {022, 077, 0}) {
    const mode_t before = umask(mask);
    host::write_file(place.of("new"), "bytes");
    CHECK(umask(before) == mask);
    CHECK(rights("new") == int(0666 & ~mask));
    std::filesystem::remove(place.of("new"));
  }
}

TEST_CASE("a difference is told in the words of the effect and its unit") {
  Record a = host::preset("music"), b = a;
  b[14] = 0.0f;                         // EQ10 enable
  b[104] = 3.5f;                        // boost of its band 0
  b[101] = 0.0f;                        // and type
  b[106] = 8.0f;                        // a type that there is not
  b[379] = host::float_of(0x7fc00001);  // attack_time of channel 1's high band
  a[379] = host::float_of(0x7fc00002);
  b[5] = -0.0f;  // unread
  std::string told;
  for (const host::Difference& d : host::diff(a, b))
    told += d.where + "|" + d.field + "|" + d.from + "|" + d.to + "\n";
  CHECK(told ==
        "unread|index 5|0.0|-0.0\n"
        "EQ10|enable|on|off\n"
        "EQ10 channel 0 band 0|type|LowShelf|Parametric\n"
        "EQ10 channel 0 band 0|boost|2 dB|3.5 dB\n"
        "EQ10 channel 0 band 1|type|Parametric|8\n"
        "MultiBandDRC channel 1 high band|attack_time|0x7fc00002|0x7fc00001\n");
  CHECK(host::diff(a, a).empty());
  CHECK(!host::filter_name(-1));
}
