// What uses the output is destroyed after leere(): nothing of the output may still call it.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>

#include "base/FileHandleTextOutput.h"

namespace hallkorb {
namespace {

std::atomic<bool> leserDa{true};

// Has no room as long as there is a reader.
ssize_t voll(int, const void*, std::size_t) {
  errno = leserDa ? EAGAIN : EPIPE;
  return -1;
}

TEST(AusgabeendeTest, WhoWaitsForTheLastLineWaitsForTheReportAboutTheReaderToo) {
  leserDa = true;
  FileHandleTextOutput ausgabe(-1, voll);
  ASSERT_TRUE(ausgabe.starteFaden());
  std::promise<void> imHandler;
  std::shared_future<void> leer;
  std::promise<void> weiter;
  bool zuFrueh = false;
  ausgabe.leserWeg([&] {
    imHandler.set_value();
    weiter.get_future().wait();
    zuFrueh = leer.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
  });
  EXPECT_TRUE(ausgabe.write("zeile\n"));  // has to wait
  leserDa = false;
  imHandler.get_future().wait();
  leer = std::async(std::launch::async, [&] { ausgabe.leere(); }).share();
  weiter.set_value();
  leer.wait();
  EXPECT_FALSE(zuFrueh);
}

}  // namespace
}  // namespace hallkorb
