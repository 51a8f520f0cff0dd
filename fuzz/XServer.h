// An X server on a socket of its own whose answers come from a fuzzer's bytes.
//
// It lets every client in and reads the requests, so that each answer has the right number; an
// answer without it only makes libxcb wait. What the answer says is drawn from the bytes: an error,
// what a well-behaved server would say, or anything at all, with payloads that may be shorter than
// the answer claims. Once the bytes are used up it closes the connection, which ends every wait.
// The greeting is always right: it comes from a server that was chosen by the user.
//
// Its thread serves one run at a time: beginne(), connect and ask, warte().
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "fuzz/Bytestrom.h"
#include "platform/linux/Deskriptor.h"

namespace hallkorb {

class XServer {
 public:
  XServer();
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  // What DISPLAY is called.
  [[nodiscard]] const std::string& display() const { return display_; }
  // The next two connections (one that tries, one that is used) are answered from these bytes,
  // which stay valid until warte() returns.
  void beginne(std::span<const std::uint8_t> bytes);
  // Until both are closed by their client.
  void warte();

 private:
  struct Anfrage {
    std::uint8_t was = 0;    // the major number
    std::uint8_t genau = 0;  // the second byte: an extension's minor number
    std::vector<std::uint8_t> bytes;
  };

  void laufe();
  [[nodiscard]] bool gruesse(int fd, bool ganz);
  void bediene(int fd, Bytestrom& strom);
  [[nodiscard]] static bool liesAnfrage(int fd, Anfrage& anfrage);
  [[nodiscard]] static bool hatAntwort(const Anfrage& anfrage);
  [[nodiscard]] static std::vector<std::uint8_t> antwort(const Anfrage& anfrage, Bytestrom& strom,
                                                         std::uint16_t nummer);
  [[nodiscard]] static std::vector<std::uint8_t> ueblich(const Anfrage& anfrage, Bytestrom& strom);

  std::string display_;
  Deskriptor tuer_;
  std::mutex lock_;  // for what follows, up to the thread
  std::condition_variable geaendert_;
  std::span<const std::uint8_t> bytes_;
  bool laeuft_ = false;
  bool zuEnde_ = false;
  std::thread faden_;
};

}  // namespace hallkorb
