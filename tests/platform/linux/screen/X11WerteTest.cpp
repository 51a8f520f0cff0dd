#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {
namespace {

// An answer of 32 bytes and `worte` words after it.
struct Antwort {
  explicit Antwort(std::uint32_t worte) {
    xcb_query_tree_reply_t kopf{};
    kopf.length = worte;
    std::memcpy(bytes.data(), &kopf, sizeof kopf);
  }
  [[nodiscard]] const xcb_query_tree_reply_t& kopf() const {
    return *reinterpret_cast<const xcb_query_tree_reply_t*>(bytes.data());
  }
  template <class Wert>
  [[nodiscard]] const Wert* nach(std::size_t stelle) const {
    return reinterpret_cast<const Wert*>(bytes.data() + stelle);
  }
  alignas(8) std::array<std::uint8_t, 64> bytes{};
};

TEST(X11Werte, AreAsManyAsTheAnswerSays) {
  const Antwort antwort(3);
  const auto werte = x11Werte(antwort.kopf(), antwort.nach<std::uint32_t>(32), 2);
  EXPECT_EQ(werte.size(), 2U);
  EXPECT_EQ(static_cast<const void*>(werte.data()), antwort.bytes.data() + 32);
}

TEST(X11Werte, AreNeverMoreThanWereSent) {
  const Antwort antwort(3);
  EXPECT_EQ(x11Werte(antwort.kopf(), antwort.nach<std::uint32_t>(32), 65535).size(), 3U);
  EXPECT_EQ(x11Werte(antwort.kopf(), antwort.nach<char>(32), 65535).size(), 12U);
  EXPECT_EQ(x11Werte(antwort.kopf(), antwort.nach<std::uint32_t>(36), 65535).size(), 2U);
  EXPECT_EQ(x11Werte(antwort.kopf(), antwort.nach<std::uint32_t>(44), 1).size(), 0U);
  EXPECT_EQ(x11Werte(antwort.kopf(), antwort.nach<std::uint32_t>(60), 1).size(), 0U);
  EXPECT_EQ(x11Werte(Antwort(0).kopf(), antwort.nach<std::uint32_t>(32), 0).size(), 0U);
}

}  // namespace
}  // namespace hallkorb
