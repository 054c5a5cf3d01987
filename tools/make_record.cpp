// make_record TEXT BIN: writes the 2000-byte tuning record that a text describes. A line of the text is
// "index value", and whatever follows # is for the reader. Indices that no line names are 0.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "zelkaudio_effect_eqdrc.h"

namespace {

bool read_line(std::string line, AudioPostParam& record) {
  line.resize(line.find('#') == std::string::npos ? line.size() : line.find('#'));
  std::istringstream words(line);
  std::string word;
  if (!(words >> word)) return true;
  words.clear();
  words.seekg(0);
  int index = -1;
  float value = 0;
  if (!(words >> index >> value) || words >> word || index < 0 || index >= AUDIOPOST_PARAM_LENGTH)
    return false;
  record[index] = value;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: make_record TEXT BIN\n";
    return EXIT_FAILURE;
  }
  std::ifstream text(argv[1]);
  AudioPostParam record{};
  int number = 0;
  for (std::string line; std::getline(text, line);) {
    ++number;
    if (read_line(line, record)) continue;
    std::cerr << argv[1] << ":" << number << ": not \"index value\": " << line << "\n";
    return EXIT_FAILURE;
  }
  std::ofstream bin(argv[2], std::ios::binary);
  bin.write(reinterpret_cast<const char*>(record), sizeof record);
  bin.close();
  if (number > 0 && bin) return EXIT_SUCCESS;
  std::cerr << "make_record: cannot read " << argv[1] << " or write " << argv[2] << "\n";
  return EXIT_FAILURE;
}
