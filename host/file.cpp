#include "host/file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "host/tuning.h"

namespace host {
namespace {

[[noreturn]] void fail(const std::string& path, const std::string& text) {
  throw FileError(path, 0, "", text);
}

[[noreturn]] void fail_with_errno(const std::string& path) {
  std::string reason = std::strerror(errno);
  if (!reason.empty() && reason[0] >= 'A' && reason[0] <= 'Z') reason[0] = static_cast<char>(reason[0] + 32);
  fail(path, reason);
}

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

}  // namespace

PendingFile::PendingFile(const std::string& path) : path_(path) {
  struct stat there = {};
  const bool exists = stat(path.c_str(), &there) == 0;
  if (exists && S_ISDIR(there.st_mode)) fail(path, "is a directory");
  if (exists && !S_ISREG(there.st_mode)) {  // a device or a pipe cannot be renamed over: write to it as it is
    temporary_ = path;
    return;
  }
  std::string name = path + ".XXXXXX";
  const int descriptor = mkstemp(name.data());
  if (descriptor < 0) fail_with_errno(path);
  // mkstemp makes the file private; the finished one gets the rights that any new file, or its predecessor,
  // has.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(descriptor, exists ? there.st_mode & 07777 : 0666 & ~mask);
  close(descriptor);
  temporary_ = name;
}

PendingFile::~PendingFile() {
  if (!temporary_.empty() && temporary_ != path_) unlink(temporary_.c_str());
}

void PendingFile::commit() {
  if (temporary_ != path_ && rename(temporary_.c_str(), path_.c_str()) != 0) fail_with_errno(path_);
  temporary_.clear();
}

void write_file(const std::string& path, std::string_view bytes) {
  if (path == "-") {
    if (fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || fflush(stdout) != 0)
      fail_with_errno("standard output");
    return;
  }
  PendingFile pending(path);
  File file(fopen(pending.temporary().c_str(), "wb"), fclose);
  if (!file) fail_with_errno(path);
  if (fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) fail_with_errno(path);
  if (fclose(file.release()) != 0) fail_with_errno(path);
  pending.commit();
}

std::string read_file(const std::string& path, size_t limit) {
  const bool standard = path == "-";
  const std::string name = standard ? "standard input" : path;
  struct stat there = {};
  if (!standard && stat(path.c_str(), &there) == 0 && S_ISDIR(there.st_mode)) fail(name, "is a directory");
  File file(standard ? stdin : fopen(path.c_str(), "rb"), standard ? [](FILE*) { return 0; } : fclose);
  if (!file) fail_with_errno(name);
  std::string bytes;
  char chunk[4096];
  while (const size_t got = fread(chunk, 1, sizeof chunk, file.get())) {
    bytes.append(chunk, got);
    if (bytes.size() > limit) fail(name, "is longer than " + std::to_string(limit) + " bytes");
  }
  if (ferror(file.get())) fail_with_errno(name);
  return bytes;
}

}  // namespace host
