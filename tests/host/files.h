// A place for files, and what is said of those that cannot be read.
#pragma once

#include "host/tuning.h"
#include "place.h"

// What `work` throws as a host::FileError, or "".
template <class Work>
std::string error_of(const Work& work) {
  try {
    work();
    return "";
  } catch (const host::FileError& error) {
    return error.what();
  }
}
