// The library's C interface and its C++ wrapper, linked as others link them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <hallkorb/audio.hpp>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/WavBytes.h"

namespace hallkorb::audio {
namespace {

std::vector<float> ton(std::size_t anzahl, double amplitude = 0.1) {
  std::vector<float> samples(anzahl);
  for (std::size_t i = 0; i < anzahl; ++i)
    samples[i] = static_cast<float>(amplitude * std::sin(0.2 * static_cast<double>(i)));
  return samples;
}

std::string ordner(const char* name) {
  const auto pfad = std::filesystem::path(testing::TempDir()) / (std::string("audio-") + name);
  std::filesystem::remove_all(pfad);
  std::filesystem::create_directories(pfad);
  return pfad.string();
}

// The status that a call of the wrapper fails with; HALLKORB_OK if it succeeds.
template <class Ruf>
int status(Ruf&& ruf) {
  try {
    std::forward<Ruf>(ruf)();
  } catch (const Error& fehler) {
    EXPECT_STRNE(fehler.what(), "");
    return fehler.status;
  }
  return HALLKORB_OK;
}

TEST(Audio, NullHandlesAreRefused) {
  const float sample = 0.0F;
  const float* platziert = nullptr;
  std::size_t anzahl = 0;
  const char* text = nullptr;
  EXPECT_EQ(hallkorb_echo_reference(nullptr, &sample, 1), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_echo_finish(nullptr), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_echo_statistics(nullptr, &text), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_clock_feed(nullptr, nullptr), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_clock_flush(nullptr), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_timeline_place(nullptr, &sample, 1, 1.0, 1.0, &platziert, &anzahl),
            HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_chunker_append(nullptr, &sample, nullptr, 1), HALLKORB_INVALID);
  double rate = 0.0;
  EXPECT_EQ(hallkorb_wav_rate(nullptr, &rate), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_wav_write(nullptr, &sample, 1), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_wav_finish(nullptr), HALLKORB_INVALID);
  EXPECT_STREQ(hallkorb_error_text(), "wav: null handle");
  hallkorb_echo_free(nullptr);
  hallkorb_wav_close(nullptr);
}

TEST(Audio, EchoReturnsAsManySamplesAsTheMicrophoneHad) {
  std::size_t samples = 0;
  Echo echo([&](std::span<const float> s, std::span<const std::uint8_t> sprache) {
    EXPECT_EQ(s.size(), sprache.size());
    samples += s.size();
  });
  echo.reference(ton(5000));
  echo.microphone(ton(12345));
  echo.finish();
  EXPECT_EQ(samples, 12345U);
  EXPECT_TRUE(echo.statistics().starts_with("{\"event\":\"echo\","));
}

TEST(Audio, AFinishedStreamTakesNothingMore) {
  Echo echo([](auto&&...) {});
  EXPECT_EQ(status([&] { echo.postfilter(false); }), HALLKORB_OK);
  echo.microphone(ton(100));
  EXPECT_EQ(status([&] { echo.postfilter(true); }), HALLKORB_ENDED);
  echo.finish();
  EXPECT_EQ(status([&] { echo.microphone(ton(100)); }), HALLKORB_ENDED);
  EXPECT_EQ(status([&] { echo.finish(); }), HALLKORB_ENDED);
}

TEST(Audio, ASampleThatIsNoNumberCountsAsSilence) {
  const auto lauf = [](float stelle) {
    std::vector<float> heraus;
    Echo echo(
        [&](std::span<const float> s, auto&&) { heraus.insert(heraus.end(), s.begin(), s.end()); });
    std::vector<float> mikro = ton(8000);
    mikro[4000] = stelle;
    echo.reference(ton(8000, 0.05));
    echo.microphone(mikro);
    echo.finish();
    return heraus;
  };
  EXPECT_EQ(lauf(std::numeric_limits<float>::quiet_NaN()), lauf(0.0F));
}

// As the program's capture hands it on; one such sample must neither be full scale nor make a pause
// loud.
TEST(Audio, NoPartHandsOnASampleThatIsNoNumber) {
  const std::string ort = ordner("keine-zahl");
  for (const float stelle :
       {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
    const std::vector<float> keine(32000, stelle);

    WavWriter schreiber(ort + "/a.wav", 16000);
    schreiber.write(keine);
    schreiber.finish();
    std::vector<float> platz(32000, 1.0F);
    EXPECT_EQ(WavReader(ort + "/a.wav").read(platz).size(), 32000U);
    EXPECT_EQ(platz, std::vector<float>(32000));

    Timeline achse("me", 16000, 100.0);
    const auto platziert = achse.place(keine, 100.0, 2.0);
    EXPECT_EQ(std::vector<float>(platziert.begin(), platziert.end()), std::vector<float>(32000));

    std::vector<float> gestellt;
    Clock takt([&](const hallkorb_block& block) {
      gestellt.insert(gestellt.end(), block.samples, block.samples + block.frames);
    });
    takt.feed({.rate = 16000,
               .channels = 1,
               .interleaved = 1,
               .frames = 32000,
               .samples = keine.data(),
               .time = 100.0});
    takt.flush();
    EXPECT_EQ(gestellt, std::vector<float>(32000));

    hallkorb_chunker_options wahl = chunker_options();
    wahl.channel = "me";
    wahl.folder = ort.c_str();
    std::vector<std::string> zeilen;
    Chunker chunker(wahl, [&](std::string_view text) { zeilen.emplace_back(text); });
    chunker.append(keine);
    chunker.finish();
    EXPECT_EQ(zeilen, std::vector<std::string>());
  }
}

TEST(Audio, WhatACallbackThrowsComesOutOfTheCall) {
  Echo echo([](auto&&...) { throw std::range_error("full"); });
  echo.microphone(ton(1000));
  EXPECT_THROW(echo.finish(), std::range_error);
  hallkorb_echo* roh = nullptr;
  ASSERT_EQ(
      hallkorb_echo_new(
          &roh, [](void*, const float*, const std::uint8_t*, std::size_t) { throw 1; }, nullptr),
      HALLKORB_OK);
  const std::vector<float> samples = ton(1000);
  ASSERT_EQ(hallkorb_echo_microphone(roh, samples.data(), samples.size()), HALLKORB_OK);
  EXPECT_EQ(hallkorb_echo_finish(roh), HALLKORB_INTERNAL);
  hallkorb_echo_free(roh);
}

TEST(Audio, TimelineFillsAGapAndReportsIt) {
  std::vector<std::string> zeilen;
  Timeline achse("me", 1000, 100.0, [&](std::string_view text) { zeilen.emplace_back(text); });
  EXPECT_EQ(achse.place(ton(100), 100.0, 0.1).size(), 100U);
  EXPECT_EQ(achse.place(ton(100), std::nullopt, 0.1).size(), 100U);
  EXPECT_EQ(achse.place(ton(100), 100.25, 0.1).size(), 150U);
  ASSERT_EQ(zeilen.size(), 1U);
  EXPECT_NE(zeilen[0].find("Luecke 50.0 ms"), std::string::npos);
  EXPECT_EQ(achse.report(),
            R"("me":{"luecken":1,"luecken_ms":50,"ueberlappungen":0,"verworfen_ms":0})");
}

TEST(Audio, TimelineRefusesWhatWouldTakeAllMemory) {
  Timeline achse("me", 16000, 100.0);
  const auto platziere = [&](double zeit) {
    return status([&] { static_cast<void>(achse.place(ton(160), zeit, 0.01)); });
  };
  EXPECT_EQ(platziere(100.0), HALLKORB_OK);
  EXPECT_EQ(platziere(100.0 + 3700), HALLKORB_INVALID);
  EXPECT_EQ(platziere(1e300), HALLKORB_INVALID);
  EXPECT_EQ(platziere(100.01), HALLKORB_OK);
  EXPECT_NE(achse.report().find("\"luecken\":0"), std::string::npos);
  EXPECT_EQ(status([] { Timeline("a\"b", 16000, 0.0); }), HALLKORB_INVALID);
  EXPECT_EQ(status([] { Timeline("a", 0, 0.0); }), HALLKORB_INVALID);
}

TEST(Audio, ChunkerSendsItsLinesToTheCallback) {
  const std::string ort = ordner("chunks");
  hallkorb_chunker_options wahl = chunker_options();
  wahl.channel = "me";
  wahl.folder = ort.c_str();
  std::vector<std::string> zeilen;
  Chunker chunker(wahl, [&](std::string_view text) { zeilen.emplace_back(text); });
  testing::internal::CaptureStdout();
  chunker.append(ton(32000));
  EXPECT_THROW(chunker.append(ton(10), std::vector<std::uint8_t>(9)), std::invalid_argument);
  chunker.finish();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  ASSERT_EQ(zeilen.size(), 1U);
  EXPECT_EQ(zeilen[0], R"({"chunk":0,"channel":"me","path":")" + ort +
                           R"(/chunk_me_000.wav","t0":0.00,"t1":2.00})");
  std::vector<float> platz(40000);
  EXPECT_EQ(WavReader(ort + "/chunk_me_000.wav").read(platz).size(), 32000U);
  EXPECT_EQ(status([&] { chunker.finish(); }), HALLKORB_ENDED);
  wahl.size -= 1;
  EXPECT_EQ(status([&] { Chunker(wahl, [](auto) {}); }), HALLKORB_INVALID);
}

TEST(Audio, ChunkerOptionsAreFilledInOnlyAsFarAsTheCallerKnowsThem) {
  hallkorb_chunker_options wahl{};
  EXPECT_EQ(hallkorb_chunker_defaults(nullptr, sizeof wahl), HALLKORB_INVALID);
  EXPECT_EQ(hallkorb_chunker_defaults(&wahl, sizeof wahl - 1), HALLKORB_INVALID);
  EXPECT_EQ(wahl.size, 0U);
  EXPECT_EQ(hallkorb_chunker_defaults(&wahl, sizeof wahl + 8), HALLKORB_OK);
  EXPECT_EQ(wahl.size, sizeof wahl);
  EXPECT_EQ(wahl.silence_seconds, 0.6);
}

TEST(Audio, ChunkerReportsAFolderThatIsGone) {
  const std::string ort = ordner("weg");
  hallkorb_chunker_options wahl = chunker_options();
  wahl.channel = "me";
  wahl.folder = ort.c_str();
  std::vector<std::string> zeilen;
  std::vector<std::string> klagen;
  Chunker chunker(
      wahl, [&](std::string_view text) { zeilen.emplace_back(text); },
      [&](std::string_view text) { klagen.emplace_back(text); });
  std::filesystem::remove_all(ort);
  chunker.append(ton(32000));
  chunker.finish();
  EXPECT_TRUE(zeilen.empty());
  ASSERT_EQ(klagen.size(), 1U);
  EXPECT_NE(klagen[0].find("WAV-Schreibfehler"), std::string::npos);
}

TEST(Audio, ClockHandsOnEveryFrameOfASteadyDevice) {
  std::size_t frames = 0;
  double letzte = 0.0;
  Clock takt([&](const hallkorb_block& block) {
    frames += block.frames;
    EXPECT_GT(block.time, letzte);
    letzte = block.time;
  });
  const std::vector<float> samples = ton(960);
  for (int i = 0; i < 100; ++i) {
    takt.feed({.rate = 48000,
               .channels = 2,
               .interleaved = 1,
               .frames = 480,
               .samples = samples.data(),
               .time = 10.0 + 0.01 * i});
  }
  takt.flush();
  EXPECT_EQ(frames, 48000U);
  EXPECT_EQ(status([&] {
              takt.feed({.rate = 48000,
                         .channels = 0,
                         .interleaved = 1,
                         .frames = 480,
                         .samples = samples.data(),
                         .time = 11.0});
            }),
            HALLKORB_INVALID);
}

TEST(Audio, AWavFileAppearsOnlyWhenFinished) {
  const std::string pfad = ordner("wav") + "/a.wav";
  {
    WavWriter(pfad, 16000).write(ton(100));
  }
  EXPECT_FALSE(std::filesystem::exists(pfad));
  EXPECT_EQ(status([&] { WavReader leser(pfad); }), HALLKORB_FILE);
  WavWriter schreiber(pfad, 16000);
  schreiber.write(ton(100));
  schreiber.finish();
  EXPECT_EQ(status([&] { schreiber.write(ton(1)); }), HALLKORB_ENDED);
  std::vector<float> platz(64);
  WavReader leser(pfad);
  EXPECT_EQ(leser.rate(), 16000.0);
  EXPECT_EQ(leser.read(platz).size(), 64U);
  EXPECT_EQ(leser.read(platz).size(), 36U);
  EXPECT_EQ(leser.read(platz).size(), 0U);
  WavWriter nirgends(ordner("weg") + "/none/a.wav", 16000);
  EXPECT_EQ(status([&] { nirgends.finish(); }), HALLKORB_FILE);
  EXPECT_NE(std::string_view(hallkorb_error_text()).find("posix 2"), std::string_view::npos);
}

// A 24-bit file read as one of 16 bits would be noise.
TEST(Audio, OnlySamplesOf16BitPcmAreRead) {
  constexpr std::uint32_t EXTENSIBLE = 0xFFFE;
  const std::string pfad = ordner("pcm") + "/a.wav";
  const auto oeffne = [&](std::uint32_t format, std::uint32_t bits, std::uint32_t unterformat) {
    const bool lang = format == EXTENSIBLE;
    WavBytes b;
    b.wort("RIFF").u32(lang ? 76U : 52U).wort("WAVE").wort("fmt ").u32(lang ? 40U : 16U);
    b.u16(format).u16(1).u32(16000).u32(2000 * bits).u16(bits / 8).u16(bits);
    if (lang) b.u16(22).u16(bits).u32(4).u16(unterformat).wort(std::string(14, 'g'));
    b.wort("data").u32(16).wort(std::string(16, 'x'));
    std::ofstream(pfad, std::ios::binary)
        .write(reinterpret_cast<const char*>(b.bytes.data()),
               static_cast<std::streamsize>(b.bytes.size()));
    return status([&] {
      std::vector<float> platz(20);
      EXPECT_EQ(WavReader(pfad).read(platz).size(), 8U);
    });
  };
  EXPECT_EQ(oeffne(1, 16, 0), HALLKORB_OK);
  EXPECT_EQ(oeffne(EXTENSIBLE, 16, 1), HALLKORB_OK);
  EXPECT_EQ(oeffne(1, 24, 0), HALLKORB_FILE);
  EXPECT_STREQ(hallkorb_error_text(), "wav: the samples are not 16-bit PCM");
  EXPECT_EQ(oeffne(1, 8, 0), HALLKORB_FILE);
  EXPECT_EQ(oeffne(3, 32, 0), HALLKORB_FILE);  // floating point
  EXPECT_EQ(oeffne(3, 16, 0), HALLKORB_FILE);
  EXPECT_EQ(oeffne(6, 8, 0), HALLKORB_FILE);  // A-law
  EXPECT_EQ(oeffne(EXTENSIBLE, 32, 3), HALLKORB_FILE);
  EXPECT_EQ(oeffne(EXTENSIBLE, 16, 3), HALLKORB_FILE);
}

}  // namespace
}  // namespace hallkorb::audio
