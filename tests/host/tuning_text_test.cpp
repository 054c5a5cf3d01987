// Tuning records as text and as files.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/check.h"
#include "host/diff.h"
#include "host/fields.h"
#include "host/tuning.h"
#include "support.h"

using host::Record;

namespace {

bool same(const Record& a, const Record& b) { return std::memcmp(a.data(), b.data(), sizeof a) == 0; }

// What the error says, or "" if there is none.
std::string error_of(const std::string& text) {
  try {
    host::from_text(text, "t.toml");
    return "";
  } catch (const host::FileError& error) {
    return error.what();
  }
}

struct Directory {
  std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("host_test_" + std::to_string(getpid()));
  Directory() { std::filesystem::create_directory(path); }
  ~Directory() { std::filesystem::remove_all(path); }
  std::string with(const std::string& name, const std::string& bytes) const {
    std::ofstream(path / name, std::ios::binary) << bytes;
    return (path / name).string();
  }
};

}  // namespace

TEST_CASE("a record of any bits comes back from its text unchanged") {
  std::mt19937 random(1);
  float special[] = {0.0f, -0.0f, 1.0f, 2.0f, 16777217.0f, 1e-45f, 3.4028235e38f, 0.1f, 0, 0, 0, 0, 0};
  const uint32_t no_numbers[] = {0x7f800000, 0xff800000, 0x7fc00000, 0xffc00001, 0x7f800001};
  std::transform(no_numbers, no_numbers + 5, special + 8, host::float_of);
  for (int round = 0; round < 400; ++round) {
    Record record;
    for (float& value : record)
      value = round % 2 ? special[random() % std::size(special)]
                        : host::float_of(static_cast<uint32_t>(random()));
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

TEST_CASE("errors in a text name file, line and field") {
  const struct {
    const char *text, *error;
  } rows[] = {
      {"[chain]\nchannels = \"two\"\n", "t.toml:2: chain.channels: is a string, not a number"},
      {"[chain]\nchannels = [2]\n", "t.toml:2: chain.channels: is not a number"},
      {"[chain]\n\nchanels = 2\n", "t.toml:3: chain.chanels: is unknown"},
      {"[chain]\nversion = true\n", "t.toml:2: chain.version: is true or false, not a number"},
      {"[chain.channel0]\ngain_dB = 1e39\n", "t.toml:2: chain.channel0.gain_dB: is beyond a 32-bit float"},
      {"EQ10 = 1\n", "t.toml:1: EQ10: is not a table"},
      {"[EQ10.channel0]\nband3 = { type = \"Bell\" }\n",
       "t.toml:2: EQ10.channel0.band3.type: \"Bell\" is no filter type"},
      {"[EQ10.channel2]\n", "t.toml:1: EQ10.channel2: is unknown"},
      {"[unread]\n500 = 1\n", "t.toml:2: unread.500: is not an index from 0 to 499"},
      {"[unread]\n30 = 1\n", "t.toml:2: unread.30: is AutoGain.target_i_dB; set it there"},
  };
  for (const auto& r : rows) CHECK(error_of(r.text) == r.error);
  CHECK(error_of("[chain]\nchannels = = 2\n").rfind("t.toml:2: ", 0) == 0);  // the parser's own words
  CHECK(error_of("[chain]\nchannels = 2 # two\n").empty());
}

TEST_CASE("a file is read as what it holds, and only a whole record is one") {
  const Directory directory;
  Record record = host::preset("speech");
  record[499] = host::float_of(0xffc12345);
  const std::string path = (directory.path / "record.bin").string();
  host::save_record(path, record);
  CHECK(same(host::load_tuning(path), record));
  CHECK(same(host::load_tuning(directory.with("record.toml", host::to_text(record))), record));
  // Nothing is left beside them.
  CHECK(std::distance(std::filesystem::directory_iterator(directory.path), {}) == 2);

  const std::string bytes(reinterpret_cast<const char*>(record.data()), sizeof record);
  const struct {
    std::string path, error;
  } rows[] = {
      {directory.with("short", bytes.substr(1)),
       ": is neither text nor a tuning record: it has 1999 bytes, a record has 2000"},
      {directory.with("empty", ""), ": is empty"},
      {directory.with("large", std::string((1 << 20) + 1, ' ')), ": is longer than 1048576 bytes"},
      {directory.path.string(), ": is a directory"},
      {(directory.path / "none").string(), ": no such file or directory"},
  };
  for (const auto& r : rows) {
    std::string error;
    try {
      host::load_tuning(r.path);
    } catch (const host::FileError& e) {
      error = e.what();
    }
    CHECK(error == r.path + r.error);
  }
}

TEST_CASE("a difference is told in the words of the effect and its unit") {
  Record a = host::preset("music"), b = a;
  b[14] = 0.0f;                         // EQ10 enable
  b[104] = 3.5f;                        // boost of its band 0
  b[101] = 0.0f;                        // and type
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
        "MultiBandDRC channel 1 high band|attack_time|0x7fc00002|0x7fc00001\n");
  CHECK(host::diff(a, a).empty());
}
