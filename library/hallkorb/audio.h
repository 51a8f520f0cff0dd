/* The audio core of hallkorb for C and for languages that can call C: echo path, timeline, clock
 * stage, chunker and WAV files. docs/library.md has an example of each; hallkorb/audio.hpp wraps it
 * for C++.
 *
 * Handles are opaque. A call returns HALLKORB_OK or another hallkorb_status and never stops the
 * process; after a failure hallkorb_error_text() has a sentence about it, and unless a call says
 * otherwise the object is as it was before. A null handle, or a null pointer with a count above 0,
 * is HALLKORB_INVALID.
 *
 * Threads: one at a time for each object; different objects share nothing. Callbacks run on the
 * calling thread, during the call, and may use other objects but not their own. They must not
 * throw.
 *
 * Units: samples are 32-bit floats in [-1, 1]; one that is not finite counts as 0. Times are
 * seconds on one clock of the caller's choice that never jumps; HALLKORB_NO_TIME, and every time
 * that is not finite or not positive, means unknown. Text is UTF-8, file names are the system's.
 * Text and arrays that a callback or a call hands out belong to the library and are valid during
 * the callback, or until the next call on the same object.
 *
 * The interface of one major version only grows. Before 1.0.0 the second number counts as the major
 * one.
 */
#ifndef HALLKORB_AUDIO_H
#define HALLKORB_AUDIO_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The echo path's rate in Hz. */
#define HALLKORB_ECHO_RATE 16000
#define HALLKORB_NO_TIME (-1.0)

/* Results of calls, as int: an enumeration's size is the compiler's affair. */
enum {
  HALLKORB_OK = 0,
  HALLKORB_INVALID = 1,   /* an argument is outside of what the call takes; nothing has changed */
  HALLKORB_NO_MEMORY = 2, /* the object may only be freed now */
  HALLKORB_FILE = 3,      /* a file could not be opened, read or written */
  HALLKORB_ENDED = 4,     /* the stream has been finished before; nothing has changed */
  HALLKORB_INTERNAL =
      5 /* a callback threw, or a fault of the library; the object may only be freed */
};

/* "0.1.0" */
const char* hallkorb_audio_version(void);
/* About the last failed call of this thread; never null. Valid until the thread's next failed call.
 */
const char* hallkorb_error_text(void);

/* A line of text without line feed. */
typedef void (*hallkorb_text_fn)(void* user, const char* text);

/* --- Echo path: removes what the loudspeakers play from what the microphone hears. ---
 *
 * Mono at HALLKORB_ECHO_RATE; both streams begin at the same moment and may come in pieces of any
 * length. The output is in step with the microphone, sample for sample, and exactly as long. It
 * waits for the reference, but for no more than half a second of microphone. */
typedef struct hallkorb_echo hallkorb_echo;
/* A cleaned piece; `speech` has one entry for each sample, not 0 if it belongs to near-end speech.
 */
typedef void (*hallkorb_cleaned_fn)(void* user, const float* samples, const uint8_t* speech,
                                    size_t count);

int hallkorb_echo_new(hallkorb_echo** echo, hallkorb_cleaned_fn cleaned, void* user);
/* Switches the post-filter, which is on at first. Before any samples; HALLKORB_ENDED afterwards. */
int hallkorb_echo_postfilter(hallkorb_echo* echo, int on);
int hallkorb_echo_reference(hallkorb_echo* echo, const float* samples, size_t count);
int hallkorb_echo_microphone(hallkorb_echo* echo, const float* samples, size_t count);
/* Hands out the rest of the output. */
int hallkorb_echo_finish(hallkorb_echo* echo);
/* The line {"event":"echo",...} of docs/protocol.md without the chunker's counter. */
int hallkorb_echo_statistics(hallkorb_echo* echo, const char** json);
void hallkorb_echo_free(hallkorb_echo* echo);

/* --- Clock stage: brings a device's blocks onto the host's clock. ---
 *
 * Decides which stamps are true, and stretches the stream of a device whose crystal drifts. Blocks
 * that wait are handed on later: 0.15 s of sound, and three blocks at the least. */
typedef struct hallkorb_clock hallkorb_clock;
typedef struct hallkorb_block {
  double rate;          /* Hz, 1000 to 768000 */
  uint32_t channels;    /* 1 to 64 */
  uint32_t interleaved; /* frame by frame; 0: channel by channel */
  uint32_t frames;      /* up to 1048576 */
  const float* samples; /* frames * channels */
  double time;          /* of the first frame */
} hallkorb_block;
typedef void (*hallkorb_block_fn)(void* user, const hallkorb_block* block);

int hallkorb_clock_new(hallkorb_clock** clock, hallkorb_block_fn block, void* user);
int hallkorb_clock_feed(hallkorb_clock* clock, const hallkorb_block* block);
/* The stream ends or pauses: hands on all that waits. The next block begins another one. */
int hallkorb_clock_flush(hallkorb_clock* clock);
void hallkorb_clock_free(hallkorb_clock* clock);

/* --- Timeline: keeps a mono stream in step with a clock, within 5 ms. ---
 *
 * Gaps become silence, overlaps are dropped. `diagnostic` gets a German line about each; it may be
 * null. */
typedef struct hallkorb_timeline hallkorb_timeline;
/* `zero` is the time of sample 0; `name` stands in the report: up to 64 letters, digits, "-" and
 * "_". Rate 1000 to 768000 Hz. */
int hallkorb_timeline_new(hallkorb_timeline** timeline, const char* name, double rate, double zero,
                          hallkorb_text_fn diagnostic, void* user);
/* Places a block: `time` of its first sample, and its duration as captured, which differs from
 * count / rate if it was resampled. *placed are the samples to append to the channel. A time more
 * than an hour away from where the stream is, is HALLKORB_INVALID. */
int hallkorb_timeline_place(hallkorb_timeline* timeline, const float* samples, size_t count,
                            double time, double seconds, const float** placed,
                            size_t* placed_count);
/* "name":{...}, the channel's part of the line {"event":"zeitachse",...} of docs/protocol.md. */
int hallkorb_timeline_report(hallkorb_timeline* timeline, const char** json);
void hallkorb_timeline_free(hallkorb_timeline* timeline);

/* --- Chunker: cuts a mono stream into numbered WAV files at pauses. --- */
typedef struct hallkorb_chunker hallkorb_chunker;
typedef struct hallkorb_chunker_options {
  size_t size;            /* how much of it is filled in; set by hallkorb_chunker_defaults() */
  const char* channel;    /* part of file names and lines: up to 64 letters, digits, "-" and "_" */
  const char* folder;     /* exists already */
  double rate;            /* Hz, 1000 to 768000 */
  uint32_t turns;         /* cut in pauses; 0: near the nominal length */
  float silence_rms;      /* level below which 10 ms are silent */
  double chunk_seconds;   /* the nominal length */
  double min_seconds;     /* with turns: length from which a pause may cut */
  double max_seconds;     /* with turns: length at which a cut is forced */
  double silence_seconds; /* with turns: length of a pause that cuts */
} hallkorb_chunker_options;

/* The program's own values for a channel at 16000 Hz; `channel` and `folder` remain to be set.
 * `size` is sizeof(hallkorb_chunker_options) as the caller was compiled: fields that a later
 * version has appended are not touched, and hallkorb_chunker_new() takes their defaults. */
int hallkorb_chunker_defaults(hallkorb_chunker_options* options, size_t size);
/* `line` gets the chunk's line of docs/protocol.md when its file is there. `diagnostic`, which may
 * be null, gets a German line if a file cannot be written; the channel goes on without it. */
int hallkorb_chunker_new(hallkorb_chunker** chunker, const hallkorb_chunker_options* options,
                         hallkorb_text_fn line, hallkorb_text_fn diagnostic, void* user);
/* `speech`: null, or one entry for each sample, as the echo path hands it out. */
int hallkorb_chunker_append(hallkorb_chunker* chunker, const float* samples, const uint8_t* speech,
                            size_t count);
/* Cuts what is left as the last chunk. */
int hallkorb_chunker_finish(hallkorb_chunker* chunker);
void hallkorb_chunker_free(hallkorb_chunker* chunker);

/* --- WAV files: 16-bit PCM; of several channels the first is read, one is written. --- */
typedef struct hallkorb_wav_reader hallkorb_wav_reader;
typedef struct hallkorb_wav_writer hallkorb_wav_writer;
/* A file that declares other samples is HALLKORB_FILE. */
int hallkorb_wav_open(hallkorb_wav_reader** reader, const char* path);
/* Hz, as the file declares it; 0 if it does not. What is read is not resampled. */
int hallkorb_wav_rate(hallkorb_wav_reader* reader, double* rate);
/* *count: samples read, fewer than `capacity` only at the end. */
int hallkorb_wav_read(hallkorb_wav_reader* reader, float* samples, size_t capacity, size_t* count);
void hallkorb_wav_close(hallkorb_wav_reader* reader);

int hallkorb_wav_create(hallkorb_wav_writer** writer, const char* path, double rate);
int hallkorb_wav_write(hallkorb_wav_writer* writer, const float* samples, size_t count);
/* Lets the file appear under its name, complete; errors of the writing are reported here. */
int hallkorb_wav_finish(hallkorb_wav_writer* writer);
/* Without hallkorb_wav_finish() nothing is left of the file. */
void hallkorb_wav_free(hallkorb_wav_writer* writer);

#ifdef __cplusplus
}
#endif

#endif
