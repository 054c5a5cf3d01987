// An independent meter: ffmpeg's ebur128 filter reads the same files as ours.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "support.h"

namespace {

struct Programme {
  std::string name;
  int sample_rate, channels;
  // Sample of channel `ch` at time `t` in seconds, as a share of full scale; `noise` is white, -1 … 1.
  double (*sample)(double t, int ch, double noise);
};

double chord(double t, int ch, double) {  // plucked every half second, decaying, panned
  const double since = std::fmod(t, 0.5), roots[] = {110, 146.83, 164.81, 98};
  double y = 0;
  for (int h = 1; h <= 6; ++h)
    for (double ratio : {1.0, 1.25, 1.5})
      y += std::sin(2 * M_PI * h * ratio * roots[static_cast<int>(t / 2) % 4] * since) / h;
  return 0.12 * y * std::exp(-4 * since) * (ch ? 0.6 : 1.0);
}
double phrases(double t, int, double noise) {  // voiced and hissing syllables, pauses in between
  if (std::fmod(t, 4) > 2.8) return 1e-4 * noise;
  const double syllable = std::sin(M_PI * std::fmod(t * 4, 1.0));
  const bool voiced = static_cast<int>(t * 4) % 3 != 0;
  return syllable *
         (voiced ? 0.3 * std::sin(2 * M_PI * 130 * t + 2 * std::sin(2 * M_PI * 260 * t)) : 0.05 * noise);
}
double loud_after_quiet(double t, int ch, double noise) {
  return (t < 8 ? 0.02 : 0.25) * noise * (ch ? 1 : 0.5);
}

const Programme kProgrammes[] = {{"chord", 48000, 2, chord},
                                 {"phrases", 44100, 1, phrases},
                                 {"loud after quiet", 48000, 2, loud_after_quiet},
                                 {"phrases in stereo", 32000, 2, phrases}};

std::vector<int16_t> render(const Programme& p) {
  const int n = 20 * p.sample_rate;
  const auto noise = support::noise(n * p.channels, 1);
  std::vector<int16_t> pcm(noise.size());
  for (size_t i = 0; i < pcm.size(); ++i) {
    const int ch = static_cast<int>(i) % p.channels;
    const double t = std::floor(static_cast<double>(i) / p.channels) / p.sample_rate;
    pcm[i] = static_cast<int16_t>(std::lround(32767 * p.sample(t, ch, static_cast<double>(noise[i]))));
  }
  return pcm;
}

// 20 s in steps of 100 ms are within the 200 blocks that the meter keeps.
double our_reading(const Programme& p, const std::vector<int16_t>& pcm) {
  Ebur128State* m = ebur128_init(16, p.sample_rate, p.channels, 400, 100);
  const size_t channels = static_cast<size_t>(p.channels), block = static_cast<size_t>(p.sample_rate / 100);
  support::Planar x(std::vector<support::Samples>(channels, support::Samples(block)));
  for (size_t done = 0; done < pcm.size(); done += block * channels) {
    for (size_t i = 0; i < block * channels; ++i)
      x.data[i % channels][i / channels] = static_cast<float>(pcm[done + i]);
    ebur128_addframes(m, x(), static_cast<int>(block));
  }
  const double reading = static_cast<double>(ebur128_gatedloudness(m));
  ebur128_destroy(m);
  return reading;
}

double ffmpeg_reading(const Programme& p, const std::vector<int16_t>& pcm) {
  char path[] = "/tmp/zelk_loudness_XXXXXX";
  const int fd = mkstemp(path);
  REQUIRE(fd >= 0);
  REQUIRE(write(fd, pcm.data(), pcm.size() * 2) == static_cast<ssize_t>(pcm.size() * 2));
  close(fd);
  const std::string command = "ffmpeg -hide_banner -nostats -f s16le -ar " + std::to_string(p.sample_rate) +
                              " -ac " + std::to_string(p.channels) + " -i " + path +
                              " -af ebur128 -f null - 2>&1 </dev/null";
  std::FILE* pipe = popen(command.c_str(), "r");
  REQUIRE(pipe);
  std::string log;
  for (char line[512]; std::fgets(line, sizeof line, pipe);) log += line;
  const int status = pclose(pipe);
  unlink(path);
  CAPTURE(log);
  REQUIRE(status == 0);                // without ffmpeg there is nothing to agree with
  const size_t at = log.rfind(" I:");  // the summary's "    I:         -23.0 LUFS"
  REQUIRE(at != std::string::npos);
  return std::strtod(log.c_str() + at + 3, nullptr);
}

}  // namespace

TEST_CASE("ffmpeg's loudness meter agrees with ours within 0.3 LU") {
  for (const Programme& p : kProgrammes) {
    CAPTURE(p.name);
    const auto pcm = render(p);
    const double theirs = ffmpeg_reading(p, pcm), ours = our_reading(p, pcm);
    CHECK(theirs > -40);
    CHECK(std::fabs(ours - theirs) < 0.3);
  }
}
