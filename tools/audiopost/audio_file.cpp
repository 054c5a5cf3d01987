#include "audio_file.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "app.h"
#include "interrupt.h"

namespace audiopost {
namespace {

int keep_open(FILE*) { return 0; }
using File = std::unique_ptr<FILE, int (*)(FILE*)>;

std::string reason_of(int error) {
  std::string reason = std::strerror(error);
  reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
  return reason;
}

bool is_regular_or_absent(const std::string& path) {
  struct stat there = {};
  return stat(path.c_str(), &there) != 0 || S_ISREG(there.st_mode);
}

bool is_directory(const std::string& path) {
  struct stat there = {};
  return stat(path.c_str(), &there) == 0 && S_ISDIR(there.st_mode);
}

// Whether all of it arrived.
bool copy_all(FILE* from, FILE* to) {
  std::array<char, 65536> chunk;
  while (const size_t got = std::fread(chunk.data(), 1, chunk.size(), from))
    if (std::fwrite(chunk.data(), 1, got, to) != got) return false;
  return !std::ferror(from) && std::fflush(to) == 0;
}

// Where symbolic links lead, also when there is no file yet: it is that place that a new file is renamed to.
std::filesystem::path target_of(std::filesystem::path path) {
  std::error_code none;
  for (int links = 0; links < 40 && std::filesystem::is_symlink(path, none); ++links)
    path = path.parent_path() / std::filesystem::read_symlink(path, none);
  return path;
}

constexpr int kReadOnly = -1;

// What libsndfile calls the kind of file that a name's ending asks for; 0 when the ending is not one of a sound file.
int format_for(const std::string& path) {
  static constexpr std::pair<const char*, int> kFormats[] = {{"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
                                                             {"flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
                                                             {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                                                             {"aif", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                                                             {"au", SF_FORMAT_AU | SF_FORMAT_PCM_16},
                                                             {"caf", SF_FORMAT_CAF | SF_FORMAT_PCM_16},
                                                             {"w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16},
                                                             {"rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_16},
                                                             {"ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
                                                             {"oga", kReadOnly},
                                                             {"opus", kReadOnly},
                                                             {"mp3", kReadOnly},
                                                             {"aifc", kReadOnly},
                                                             {"snd", kReadOnly}};
  const size_t slash = path.find_last_of('/'), dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return 0;
  std::string ending = path.substr(dot + 1);
  for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const auto& [name, format] : kFormats)
    if (ending == name) return format;
  return 0;
}

}  // namespace

// ---- Input ---------------------------------------------------------------------------------------------------
AudioInput::AudioInput(const std::string& path, const std::optional<RawFormat>& raw)
    : name_(path == "-" ? "standard input" : path), file_(nullptr, std::fclose), sound_(nullptr, sf_close) {
  const bool headerless = raw && format_for(path) == 0, standard = path == "-";
  if (is_directory(path)) throw Failure(name_ + ": is a directory");
  file_ = standard ? File(stdin, keep_open) : File(std::fopen(path.c_str(), "rb"), std::fclose);
  if (InterruptNoted::came()) throw Failure("interrupted");  // while a pipe had nobody at its other end
  if (!file_) throw Failure(name_ + ": " + reason_of(errno));
  if (headerless)
    open_raw(*raw);
  else
    open_sound(!standard && std::fseek(file_.get(), 0, SEEK_SET) == 0);
  const std::string& who = headerless ? raw->said_by : name_;
  if (channels_ < 1 || channels_ > 2)
    throw Failure(who + ": has " + std::to_string(channels_) + " channels; the chain takes mono and stereo");
  if (sample_rate_ < kLowestRate || sample_rate_ > kHighestRate)
    throw Failure(who + ": a sample rate of " + std::to_string(sample_rate_) + " Hz cannot be processed");
  if (frames_ == 0) throw Failure(name_ + ": holds no sound (0 frames)");
}

void AudioInput::open_raw(const RawFormat& raw) {
  sample_rate_ = raw.sample_rate, channels_ = raw.channels;
  struct stat there = {};
  if (file_.get() != stdin && channels_ > 0 && fstat(fileno(file_.get()), &there) == 0 &&
      S_ISREG(there.st_mode))
    frames_ = there.st_size / (2 * channels_);
}

void AudioInput::open_sound(bool seekable) {
  if (!seekable) {  // as files with a header may need
    File spool(std::tmpfile(), std::fclose);
    const bool copied = spool && copy_all(file_.get(), spool.get());
    if (InterruptNoted::came()) throw Failure("interrupted");
    if (!copied) throw Failure(name_ + ": " + reason_of(errno));
    file_ = std::move(spool);
  }
  std::rewind(file_.get());
  check_riff_length(file_.get());
  lseek(fileno(file_.get()), 0, SEEK_SET);  // libsndfile reads on from where the descriptor stands
  SF_INFO info = {};
  sound_.reset(sf_open_fd(fileno(file_.get()), SFM_READ, &info, SF_FALSE));
  if (!sound_) throw Failure(name_ + ": not a sound file that can be read (headerless PCM needs --raw)");
  sample_rate_ = info.samplerate, channels_ = info.channels;
  end_missing_ = info.frames == SF_COUNT_MAX;
  if (!end_missing_) frames_ = info.frames;
  sf_command(sound_.get(), SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
}

// libsndfile takes a WAV that was cut short for a shorter one; its header still knows. Lengths that programs write when
// they cannot seek back count as unknown.
void AudioInput::check_riff_length(FILE* file) const {
  std::array<unsigned char, 12> head;
  if (std::fread(head.data(), 1, 12, file) != 12 || std::memcmp(head.data(), "RIFF", 4) != 0 ||
      std::memcmp(&head[8], "WAVE", 4) != 0)
    return;
  std::array<unsigned char, 8> chunk;
  while (std::fread(chunk.data(), 1, 8, file) == 8) {
    const uint32_t length =
        chunk[4] | uint32_t{chunk[5]} << 8 | uint32_t{chunk[6]} << 16 | uint32_t{chunk[7]} << 24;
    const long start = std::ftell(file);
    if (std::memcmp(chunk.data(), "data", 4) == 0) {
      std::fseek(file, 0, SEEK_END);
      const long there = std::ftell(file) - start;
      if (length < 0x7fff0000u && there < static_cast<long>(length))
        throw Failure(name_ + ": is cut short: " + std::to_string(there) + " of " + std::to_string(length) +
                      " bytes of sound are there");
      return;
    }
    if (std::fseek(file, start + static_cast<long>(length) + (length & 1), SEEK_SET) != 0) return;
  }
}

int AudioInput::read_raw(int16_t* pcm, int frames) {
  const size_t frame_bytes = 2 * static_cast<size_t>(channels_);
  auto* const bytes = reinterpret_cast<unsigned char*>(pcm);
  const size_t got = std::fread(bytes, 1, static_cast<size_t>(frames) * frame_bytes, file_.get());
  if (got % frame_bytes != 0 && !InterruptNoted::came())
    throw Failure(name_ + ": is cut short: it ends inside a frame");
  for (size_t i = 0; i < got / 2; ++i)  // in place: each sample is read before it is written
    pcm[i] = static_cast<int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  return static_cast<int>(got / frame_bytes);
}

int AudioInput::read(int16_t* pcm, int frames) {
  int got = 0;
  if (!sound_) {
    got = read_raw(pcm, frames);
  } else {
    floats_.resize(static_cast<size_t>(frames) * static_cast<size_t>(channels_));
    got = static_cast<int>(sf_readf_float(sound_.get(), floats_.data(), frames));
    for (int i = 0; i < got * channels_; ++i) {
      const float x = floats_[static_cast<size_t>(i)] * 32768.0f;
      if (!std::isfinite(x))
        throw Failure(name_ + ": frame " + std::to_string(position_ + i / channels_) +
                      " is not a finite number");
      clipped_ += x >= 32767.5f || x < -32768.5f;
      pcm[i] = static_cast<int16_t>(std::lrint(std::clamp(x, -32768.0f, 32767.0f)));
    }
  }
  position_ += got;
  if (InterruptNoted::came()) return 0;
  if (got < frames) {
    if (position_ == 0) throw Failure(name_ + ": holds no sound (0 frames)");
    if (position_ < frames_)
      throw Failure(name_ + ": is cut short: " + std::to_string(position_) + " of " +
                    std::to_string(frames_) + " frames can be read");
    if (end_missing_)
      throw Failure(name_ + ": is cut short: its end is missing after " + std::to_string(position_) +
                    " frames");
  }
  return got;
}

// ---- Output --------------------------------------------------------------------------------------------------
void AudioOutput::fail(const std::string& reason) const { throw Failure(name_ + ": " + reason); }

AudioOutput::AudioOutput(const std::string& path, bool raw, int sample_rate, int channels)
    : name_(path == "-" ? "standard output" : path),
      channels_(channels),
      spool_(nullptr, std::fclose),
      sink_(nullptr, std::fclose),
      raw_(nullptr, std::fclose),
      sound_(nullptr, sf_close) {
  const int known = format_for(path), format = known == kReadOnly ? 0 : known;
  raw = raw && known == 0;
  if (is_directory(path)) fail("is a directory");
  const bool rename = path != "-" && is_regular_or_absent(path);
  if (!raw && !format && rename)
    fail("the ending says no kind of sound file (wav, flac, aiff, au, caf, w64, rf64, ogg; or --raw)");
  if (rename) {
    pending_ = std::make_unique<host::PendingFile>(target_of(path));
  } else {
    sink_ = path == "-" ? File(stdout, keep_open) : File(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!sink_) fail(reason_of(errno));
  }
  if (raw) {
    raw_ = pending_ ? File(std::fopen(pending_->temporary().c_str(), "wb"), std::fclose)
                    : File(sink_.get(), keep_open);
    if (!raw_) fail(reason_of(errno));
    return;
  }
  SF_INFO info = {};
  info.samplerate = sample_rate, info.channels = channels;
  info.format = format ? format : SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  if (pending_) {
    sound_.reset(sf_open(pending_->temporary().c_str(), SFM_WRITE, &info));
  } else {  // a header is finished by seeking back, which a pipe does not allow
    spool_.reset(std::tmpfile());
    if (!spool_) fail(reason_of(errno));
    sound_.reset(sf_open_fd(fileno(spool_.get()), SFM_WRITE, &info, SF_FALSE));
  }
  if (!sound_)
    fail("cannot hold " + std::to_string(channels) + " channels at " + std::to_string(sample_rate) + " Hz");
}

void AudioOutput::write(const int16_t* pcm, int frames) {
  if (sound_) {
    errno = 0;  // libsndfile's own words depend on the kind of file
    if (sf_writef_short(sound_.get(), pcm, frames) != frames)
      fail(errno != 0 ? reason_of(errno) : "cannot be written");
    return;
  }
  for (int i = 0; i < frames * channels_; ++i) {
    const unsigned value = static_cast<unsigned>(pcm[i]);
    const unsigned char bytes[2] = {static_cast<unsigned char>(value),
                                    static_cast<unsigned char>(value >> 8)};
    if (std::fwrite(bytes, 1, 2, raw_.get()) != 2) fail(reason_of(errno));
  }
  // Someone may be listening at the other end of a pipe.
  if (!pending_ && std::fflush(raw_.get()) != 0) fail(reason_of(errno));
}

void AudioOutput::commit() {
  if (sound_ && sf_close(sound_.release()) != 0) fail("cannot be written");
  if (raw_ && std::fflush(raw_.get()) != 0) fail(reason_of(errno));
  raw_.reset();
  if (pending_) pending_->commit();
  if (!spool_) return;
  std::rewind(spool_.get());
  if (!copy_all(spool_.get(), sink_.get())) fail(reason_of(errno));
}

}  // namespace audiopost
