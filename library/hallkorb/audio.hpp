// The audio core of hallkorb for C++20: hallkorb/audio.h with destructors, spans and exceptions.
//
// Everything is inline, so the library may come from another compiler or C++ library. Units,
// threads and meanings are those of hallkorb/audio.h. A call that fails throws Error; what a
// callback throws comes out of the call that ran it, and the object may only be destroyed then.
// Objects cannot be moved: the library knows where their callbacks lie.
#ifndef HALLKORB_AUDIO_HPP
#define HALLKORB_AUDIO_HPP

#include <hallkorb/audio.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace hallkorb::audio {

class Error : public std::runtime_error {
 public:
  explicit Error(int was) : std::runtime_error(hallkorb_error_text()), status(was) {}

  int status;  // HALLKORB_INVALID, ...
};

namespace detail {

inline void check(int status) {
  if (status != HALLKORB_OK) throw Error(status);
}

// What a callback has thrown, kept while C frames lie in between.
class Caught {
 public:
  template <class Call>
  void guard(Call&& call) noexcept {
    try {
      if (!thrown_) std::forward<Call>(call)();
    } catch (...) {
      thrown_ = std::current_exception();
    }
  }

  // The status of a call: what a callback threw counts first.
  void check(int status) {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    detail::check(status);
  }

 private:
  std::exception_ptr thrown_;
};

template <class Handle, void (*FREE)(Handle*)>
struct Deleter {
  void operator()(Handle* handle) const { FREE(handle); }
};
template <class Handle, void (*FREE)(Handle*)>
using Owned = std::unique_ptr<Handle, Deleter<Handle, FREE>>;

// Lines and diagnostics of an object.
struct Lines {
  std::function<void(std::string_view)> line;
  std::function<void(std::string_view)> diagnostic;
  Caught caught;

  static void to_line(void* user, const char* text) {
    auto& self = *static_cast<Lines*>(user);
    self.caught.guard([&] {
      if (self.line) self.line(text);
    });
  }
  static void to_diagnostic(void* user, const char* text) {
    auto& self = *static_cast<Lines*>(user);
    self.caught.guard([&] {
      if (self.diagnostic) self.diagnostic(text);
    });
  }
};

}  // namespace detail

class Echo {
 public:
  using Cleaned = std::function<void(std::span<const float>, std::span<const std::uint8_t> speech)>;

  explicit Echo(Cleaned cleaned) : cleaned_(std::move(cleaned)) {
    hallkorb_echo* handle = nullptr;
    detail::check(hallkorb_echo_new(&handle, &Echo::to_cleaned, this));
    handle_.reset(handle);
  }
  Echo(const Echo&) = delete;
  Echo& operator=(const Echo&) = delete;

  void postfilter(bool on) { caught_.check(hallkorb_echo_postfilter(handle_.get(), on ? 1 : 0)); }
  void reference(std::span<const float> samples) {
    caught_.check(hallkorb_echo_reference(handle_.get(), samples.data(), samples.size()));
  }
  void microphone(std::span<const float> samples) {
    caught_.check(hallkorb_echo_microphone(handle_.get(), samples.data(), samples.size()));
  }
  void finish() { caught_.check(hallkorb_echo_finish(handle_.get())); }
  [[nodiscard]] std::string statistics() {
    const char* json = nullptr;
    detail::check(hallkorb_echo_statistics(handle_.get(), &json));
    return json;
  }

 private:
  static void to_cleaned(void* user, const float* samples, const std::uint8_t* speech,
                         std::size_t count) {
    auto& self = *static_cast<Echo*>(user);
    self.caught_.guard([&] { self.cleaned_({samples, count}, {speech, count}); });
  }

  Cleaned cleaned_;
  detail::Caught caught_;
  detail::Owned<hallkorb_echo, hallkorb_echo_free> handle_;
};

class Clock {
 public:
  using Block = std::function<void(const hallkorb_block&)>;

  explicit Clock(Block block) : block_(std::move(block)) {
    hallkorb_clock* handle = nullptr;
    detail::check(hallkorb_clock_new(&handle, &Clock::to_block, this));
    handle_.reset(handle);
  }
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  void feed(const hallkorb_block& block) {
    caught_.check(hallkorb_clock_feed(handle_.get(), &block));
  }
  void flush() { caught_.check(hallkorb_clock_flush(handle_.get())); }

 private:
  static void to_block(void* user, const hallkorb_block* block) {
    auto& self = *static_cast<Clock*>(user);
    self.caught_.guard([&] { self.block_(*block); });
  }

  Block block_;
  detail::Caught caught_;
  detail::Owned<hallkorb_clock, hallkorb_clock_free> handle_;
};

class Timeline {
 public:
  Timeline(const std::string& name, double rate, double zero,
           std::function<void(std::string_view)> diagnostic = nullptr) {
    lines_.diagnostic = std::move(diagnostic);
    hallkorb_timeline* handle = nullptr;
    detail::check(hallkorb_timeline_new(&handle, name.c_str(), rate, zero,
                                        &detail::Lines::to_diagnostic, &lines_));
    handle_.reset(handle);
  }
  Timeline(const Timeline&) = delete;
  Timeline& operator=(const Timeline&) = delete;

  // Valid until the next call.
  [[nodiscard]] std::span<const float> place(std::span<const float> samples,
                                             std::optional<double> time, double seconds) {
    const float* placed = nullptr;
    std::size_t count = 0;
    lines_.caught.check(hallkorb_timeline_place(handle_.get(), samples.data(), samples.size(),
                                                time.value_or(HALLKORB_NO_TIME), seconds, &placed,
                                                &count));
    return {placed, count};
  }
  [[nodiscard]] std::string report() {
    const char* json = nullptr;
    detail::check(hallkorb_timeline_report(handle_.get(), &json));
    return json;
  }

 private:
  detail::Lines lines_;
  detail::Owned<hallkorb_timeline, hallkorb_timeline_free> handle_;
};

// Start from chunker_options(), whose strings must live until the constructor returns.
[[nodiscard]] inline hallkorb_chunker_options chunker_options() {
  hallkorb_chunker_options options{};
  detail::check(hallkorb_chunker_defaults(&options, sizeof options));
  return options;
}

class Chunker {
 public:
  Chunker(const hallkorb_chunker_options& options, std::function<void(std::string_view)> line,
          std::function<void(std::string_view)> diagnostic = nullptr) {
    lines_.line = std::move(line);
    lines_.diagnostic = std::move(diagnostic);
    hallkorb_chunker* handle = nullptr;
    detail::check(hallkorb_chunker_new(&handle, &options, &detail::Lines::to_line,
                                       &detail::Lines::to_diagnostic, &lines_));
    handle_.reset(handle);
  }
  Chunker(const Chunker&) = delete;
  Chunker& operator=(const Chunker&) = delete;

  void append(std::span<const float> samples) { append(samples.data(), nullptr, samples.size()); }
  // One entry of `speech` for each sample.
  void append(std::span<const float> samples, std::span<const std::uint8_t> speech) {
    if (speech.size() != samples.size())
      throw std::invalid_argument("chunker: mask of another length");
    append(samples.data(), speech.data(), samples.size());
  }
  void finish() { lines_.caught.check(hallkorb_chunker_finish(handle_.get())); }

 private:
  void append(const float* samples, const std::uint8_t* speech, std::size_t count) {
    lines_.caught.check(hallkorb_chunker_append(handle_.get(), samples, speech, count));
  }

  detail::Lines lines_;
  detail::Owned<hallkorb_chunker, hallkorb_chunker_free> handle_;
};

class WavReader {
 public:
  explicit WavReader(const std::string& path) {
    hallkorb_wav_reader* handle = nullptr;
    detail::check(hallkorb_wav_open(&handle, path.c_str()));
    handle_.reset(handle);
  }

  // Hz, as the file declares it; 0 if it does not.
  [[nodiscard]] double rate() {
    double hertz = 0.0;
    detail::check(hallkorb_wav_rate(handle_.get(), &hertz));
    return hertz;
  }
  // The samples read, a part of `room`; shorter only at the end.
  [[nodiscard]] std::span<const float> read(std::span<float> room) {
    std::size_t count = 0;
    detail::check(hallkorb_wav_read(handle_.get(), room.data(), room.size(), &count));
    return room.first(count);
  }

 private:
  detail::Owned<hallkorb_wav_reader, hallkorb_wav_close> handle_;
};

// The file appears with finish(), and only then.
class WavWriter {
 public:
  WavWriter(const std::string& path, double rate) {
    hallkorb_wav_writer* handle = nullptr;
    detail::check(hallkorb_wav_create(&handle, path.c_str(), rate));
    handle_.reset(handle);
  }

  void write(std::span<const float> samples) {
    detail::check(hallkorb_wav_write(handle_.get(), samples.data(), samples.size()));
  }
  void finish() { detail::check(hallkorb_wav_finish(handle_.get())); }

 private:
  detail::Owned<hallkorb_wav_writer, hallkorb_wav_free> handle_;
};

}  // namespace hallkorb::audio

#endif
