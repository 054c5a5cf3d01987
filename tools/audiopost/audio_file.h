// Sound files and streams as interleaved 16-bit PCM, mono or stereo.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/file.h"

// SNDFILE of sndfile.h, which only audio_file.cpp needs to know.
struct sf_private_tag;  // NOLINT(readability-identifier-naming)

namespace audiopost {

constexpr int kLowestRate = 1000, kHighestRate = 768000;  // Hz

// How headerless PCM (16 bit, little-endian, interleaved) is to be read.
struct RawFormat {
  int sample_rate, channels;
  std::string said_by{};  // what to blame when they cannot be processed
};

class AudioInput {
 public:
  // Anything libsndfile reads, or, given `raw`, headerless PCM unless the name's ending is that of a sound file; "-" is
  // standard input. Throws Failure for what is not there, cannot be read, has more than two channels, is cut short or
  // holds no sound at all.
  AudioInput(const std::string& path, const std::optional<RawFormat>& raw);

  const std::string& name() const { return name_; }  // for messages
  int sample_rate() const { return sample_rate_; }
  int channels() const { return channels_; }
  int64_t frames() const { return frames_; }  // -1: not known before the end
  // Samples of the source beyond the 16-bit range, so far.
  int64_t clipped() const { return clipped_; }

  // Reads so many frames, fewer only at the end, none after an interrupt (interrupt.h). Throws Failure for samples that
  // are not numbers and for sources that end too early.
  int read(int16_t* pcm, int frames);

 private:
  void open_raw(const RawFormat& raw);
  void open_sound(bool seekable);
  int read_raw(int16_t* pcm, int frames);
  void check_riff_length(FILE* file) const;

  std::string name_;
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  std::unique_ptr<sf_private_tag, int (*)(sf_private_tag*)> sound_;
  int sample_rate_ = 0, channels_ = 0;
  int64_t frames_ = -1, position_ = 0, clipped_ = 0;
  bool end_missing_ = false;  // the file has lost the place that says how long it is
  std::vector<float> floats_;
};

class AudioOutput {
 public:
  // The kind of file follows the name's ending; "-" is standard output, as WAV. With `raw` that and names without a
  // known ending are headerless PCM. Nothing is at the path, or where a symbolic link there leads, before commit(); only
  // headerless PCM to standard output goes out as it comes. Throws Failure.
  AudioOutput(const std::string& path, bool raw, int sample_rate, int channels);
  void write(const int16_t* pcm, int frames);
  void commit();

 private:
  [[noreturn]] void fail(const std::string& reason) const;

  std::string name_;
  int channels_;
  std::unique_ptr<host::PendingFile> pending_;          // where the path can be renamed over,
  std::unique_ptr<FILE, int (*)(FILE*)> spool_, sink_;  // or else a temporary file and what it is copied to
  std::unique_ptr<FILE, int (*)(FILE*)> raw_;
  std::unique_ptr<sf_private_tag, int (*)(sf_private_tag*)> sound_;
};

}  // namespace audiopost
