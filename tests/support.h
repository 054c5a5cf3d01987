// What the tests share: signals, measurements in double, exact comparison, and child processes.
#pragma once

#include <doctest/doctest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace support {

using Samples = std::vector<float>;

// ---- Signals: one channel, at PCM scale ----
// `from` is the sample at which it begins: a block that goes on where the one before ended.
Samples sine(int n, double frequency_hz, double sample_rate, double amplitude, int from = 0);
Samples noise(int n, float amplitude, uint32_t seed = 1);  // uniform, -amplitude … amplitude
std::vector<int16_t> noise_pcm(int n, uint32_t seed = 1);  // the whole 16-bit range

// ---- Measurements ----
double rms(const Samples& x, size_t from = 0);
double peak(const Samples& x, size_t from = 0);
double to_dB(double linear);
inline double full_scale(double dBFS) { return 32768 * std::pow(10, dBFS / 20); }  // peak of a 16-bit signal
// Amplitude of the sinusoid at this frequency, by least squares over x[from …]; exact where that holds whole
// periods.
double amplitude_at(const Samples& x, double frequency_hz, double sample_rate, size_t from = 0);

// ---- Exact comparison: 0.0 and -0.0 differ, a NaN equals the same NaN ----
template <class T>
bool same_bits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}
inline bool same_bits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// ---- What a failing check tells: CAPTURES(r.link, r.channel) ----
template <class... T>
std::string listed(const T&... values) {
  return ((std::string(" ") + doctest::toString(values).c_str()) + ...);
}
#define CAPTURES(...) INFO(#__VA_ARGS__, " :=", support::listed(__VA_ARGS__))

// ---- Handles that end with their scope ----
template <auto destroy>
struct Destroyer {
  template <class State>
  void operator()(State* state) const {
    destroy(state);
  }
};
template <class State, auto destroy>
using Handle = std::unique_ptr<State, Destroyer<destroy>>;
using Chain = Handle<AudioPostState, AudioPost_Destroy>;
inline Chain chain_of(const float* record, int frames) { return Chain(AudioPost_Init(record, frames)); }

// How often `part` stands in the text.
size_t count(const std::string& text, const std::string& part);

// ---- Channel buffers as the effects take them ----
struct Planar {
  explicit Planar(std::vector<Samples> channels);
  std::vector<Samples> data;
  std::vector<float*> pointers;
  float** operator()() { return pointers.data(); }
};

// ---- An effect that ends with its scope, and channels through it, in place ----
template <class State, auto process, auto destroy>
struct Effect : Handle<State, destroy> {
  using Base = Handle<State, destroy>;
  using Base::Base;
  operator State*() const { return this->get(); }
  std::vector<Samples> run(std::vector<Samples> channels) const {
    Planar x(std::move(channels));
    process(*this, x(), x(), static_cast<int>(x.data[0].size()));
    return x.data;
  }
  Samples mono(Samples x) const { return run({std::move(x)})[0]; }
};

// ---- Child processes: what ends the process, what prints ----
struct Outcome {
  int status;       // exit status, or -1 when a signal ended it
  int signal;       // 0, or the signal
  std::string out;  // standard output
  std::string err;  // standard error
};
// Runs `work` in a fork of this process; when it returns, the child exits with status 0.
Outcome in_child(const std::function<void()>& work);
// The child that ends as the interface documents: exit(-1) after a message.
constexpr int kExitMinusOne = 255;
// Whether `log` holds the line "LOG (<function>(): ,<number>), <text>"; text with its line feeds.
bool logged(const std::string& log, const std::string& function, const std::string& text);
int count_logged(const std::string& log, const std::string& function, const std::string& text);
// The texts of all the function's lines, one after another.
std::string logged_by(const std::string& log, const std::string& function);

// ---- Tuning records ----
using Record = std::array<float, AUDIOPOST_PARAM_LENGTH>;
// Valid, all effects off, 0 dB.
Record plain_record(int channels = 2, int bit_rate = 16, int sample_rate = 48000);

// Runs interleaved PCM through a chain, block by block; a last partial block is left out.
std::vector<int16_t> through_chain(AudioPostState* chain, const std::vector<int16_t>& pcm, int channels,
                                   int block);

}  // namespace support
