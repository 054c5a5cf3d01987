// A directory that goes away with the test.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

struct Place {
  Place() { path = mkdtemp(path.data()); }
  ~Place() { std::filesystem::remove_all(path); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  std::string of(const std::string& name) const { return path + "/" + name; }
  std::string read(const std::string& name) const {
    std::ifstream file(of(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string write(const std::string& name, const std::string& bytes) const {  // its path
    std::ofstream(of(name), std::ios::binary) << bytes;
    return of(name);
  }
  std::set<std::string> names() const {
    std::set<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(path)) all.insert(entry.path().filename());
    return all;
  }
  std::string path = "/tmp/audiopost-test-XXXXXX";
};
