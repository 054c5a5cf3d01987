#include "common/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

void common::log_line(const char* function, int line, const char* format, ...) {
  char text[512];  // the longest message holds three %f of FLT_MAX: 216 characters
  const int prefix = std::snprintf(text, sizeof text, "LOG (%s(): ,%d), ", function, line);
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text + prefix, sizeof text - static_cast<unsigned>(prefix), format, arguments);
  va_end(arguments);
  std::fputs(text, stderr);
}

void common::end_process() { std::exit(-1); }
