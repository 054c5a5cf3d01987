// Files that are whole or not there: written beside their place and renamed.
#pragma once

#include <string>
#include <string_view>

namespace host {

// A path beside `path` to write to. Until commit() the file at `path` is untouched; without a commit() the
// temporary file goes away with the object. Throws FileError (host/tuning.h) when `path` cannot be written
// there.
class PendingFile {
 public:
  explicit PendingFile(const std::string& path);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  const std::string& temporary() const { return temporary_; }
  void commit();  // throws FileError

 private:
  const std::string path_;
  std::string temporary_;
};

// The whole file in one go, "-" being standard output. Throws FileError.
void write_file(const std::string& path, std::string_view bytes);

// The whole file, at most `limit` bytes; "-" is standard input. Throws FileError ("is a directory", "no such
// file").
std::string read_file(const std::string& path, size_t limit);

}  // namespace host
