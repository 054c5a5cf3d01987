#include "support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace support {

Samples sine(int n, double frequency_hz, double sample_rate, double amplitude, int from) {
  const double step = 2 * M_PI * frequency_hz / sample_rate;
  Samples x;
  for (int i = from; i < from + n; ++i) x.push_back(float(amplitude * std::sin(step * i)));
  return x;
}

namespace {
uint32_t next_random(uint32_t& state) {  // xorshift32: the same numbers on every machine
  state ^= state << 13, state ^= state >> 17, state ^= state << 5;
  return state;
}
uint32_t seeded(uint32_t seed) { return seed * 2654435761u + 1; }
}  // namespace

Samples noise(int n, float amplitude, uint32_t seed) {
  uint32_t state = seeded(seed);
  Samples x(static_cast<size_t>(n));
  for (float& v : x) v = amplitude * (float(next_random(state) >> 8) / 8388608.0f - 1.0f);
  return x;
}

std::vector<int16_t> noise_pcm(int n, uint32_t seed) {
  uint32_t state = seeded(seed);
  std::vector<int16_t> x(static_cast<size_t>(n));
  for (int16_t& v : x) v = int16_t(next_random(state) >> 16);
  return x;
}

double rms(const Samples& x, size_t from) {
  double sum = 0;
  for (size_t i = from; i < x.size(); ++i) sum += double(x[i]) * double(x[i]);
  return std::sqrt(sum / double(x.size() - from));
}

double peak(const Samples& x, size_t from) {
  double most = 0;
  for (size_t i = from; i < x.size(); ++i) most = std::max(most, double(std::fabs(x[i])));
  return most;
}

double to_dB(double linear) { return 20 * std::log10(linear); }

double amplitude_at(const Samples& x, double frequency_hz, double sample_rate, size_t from) {
  double cc = 0, ss = 0, cs = 0, xc = 0, xs = 0;
  for (size_t i = from; i < x.size(); ++i) {
    const double w = 2 * M_PI * frequency_hz * double(i) / sample_rate;
    const double c = std::cos(w), s = std::sin(w), v = double(x[i]);
    cc += c * c, ss += s * s, cs += c * s, xc += v * c, xs += v * s;
  }
  const double det = cc * ss - cs * cs;
  return std::hypot((xc * ss - xs * cs) / det, (xs * cc - xc * cs) / det);
}

Planar::Planar(std::vector<Samples> channels) : data(std::move(channels)) {
  for (Samples& channel : data) pointers.push_back(channel.data());
}

namespace {
std::string take(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c; (c = std::fgetc(file)) != EOF;) text.push_back(char(c));
  std::fclose(file);
  return text;
}

std::vector<std::string> texts_logged_by(const std::string& log, const std::string& function) {
  const std::string head = "LOG (" + function + "(): ,";
  std::vector<std::string> texts;
  for (size_t at = log.find(head); at != std::string::npos; at = log.find(head, at)) {
    const size_t digits = at + head.size(), end = log.find_first_not_of("0123456789", digits);
    at = std::min(log.find("LOG (", digits), log.size());
    if (end > digits && log.compare(end, 3, "), ") == 0) texts.push_back(log.substr(end + 3, at - end - 3));
  }
  return texts;
}
}  // namespace

Outcome in_child(const std::function<void()>& work) {
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fileno(out), STDOUT_FILENO);
    dup2(fileno(err), STDERR_FILENO);
    work();
    std::fflush(nullptr);
    _exit(0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0, take(out),
          take(err)};
}

size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++n;
  return n;
}

std::string logged_by(const std::string& log, const std::string& function) {
  std::string all;
  for (const std::string& text : texts_logged_by(log, function)) all += text;
  return all;
}

int count_logged(const std::string& log, const std::string& function, const std::string& text) {
  const auto texts = texts_logged_by(log, function);
  return int(
      std::count_if(texts.begin(), texts.end(), [&](const std::string& t) { return t.rfind(text, 0) == 0; }));
}

bool logged(const std::string& log, const std::string& function, const std::string& text) {
  return count_logged(log, function, text) > 0;
}

Record plain_record(int channels, int bit_rate, int sample_rate) {
  Record r{};
  r[0] = float(sample_rate);
  r[1] = float(bit_rate);
  r[3] = float(channels);
  r[4] = 2.0f;
  return r;
}

std::vector<int16_t> through_chain(AudioPostState* chain, const std::vector<int16_t>& pcm, int channels,
                                   int block) {
  std::vector<int16_t> out(pcm.size());
  const size_t step = static_cast<size_t>(block * channels);
  size_t done = 0;
  for (; done + step <= pcm.size(); done += step)
    AudioPost_Process(chain, pcm.data() + done, out.data() + done, channels, block);
  out.resize(done);
  return out;
}

}  // namespace support
