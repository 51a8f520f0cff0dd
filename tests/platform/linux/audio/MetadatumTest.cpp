#include <gtest/gtest.h>

#include <string>

#include "platform/linux/audio/Metadatum.h"

namespace hallkorb {
namespace {

TEST(Metadatum, IsTheNameInTheObject) {
  EXPECT_EQ(nameAusJson(R"({"name":"alsa_output.pci-0000_00_1f.3"})"),
            "alsa_output.pci-0000_00_1f.3");
  EXPECT_EQ(nameAusJson(R"({ "a": 1, "name": "x", "b": 2 })"), "x");
  EXPECT_EQ(nameAusJson(R"({"name":"a\n\"b\u00e4"})"), "a\n\"b\xC3\xA4");
  EXPECT_EQ(nameAusJson("{ name = plain }"), "plain");  // the session manager's own dialect
}

TEST(Metadatum, IsNotAnotherValueOrTheNameOfAnotherObject) {
  EXPECT_EQ(nameAusJson(R"({"x":{"name":"no"},"name":"yes"})"), "yes");
  EXPECT_EQ(nameAusJson(R"({"x":["name","no"],"name":"yes"})"), "yes");
  EXPECT_EQ(nameAusJson(R"({"x":"name","name":"yes"})"), "yes");
}

TEST(Metadatum, ComesAlsoAfterAVeryLongKey) {
  EXPECT_EQ(nameAusJson(("{\"" + std::string(500, 'k') + R"(":1,"name":"x"})").c_str()), "x");
}

TEST(Metadatum, IsEmptyIfTheTextIsNoSuchObject) {
  for (const char* text :
       {"", "{", "{}", "[]", "\"name\"", "{\"name\"", "{\"name\":", "{\"nam\":\"x\"}"})
    EXPECT_EQ(nameAusJson(text), "") << text;
}

}  // namespace
}  // namespace hallkorb
