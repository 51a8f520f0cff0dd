// The tests of single parts of the video need the libraries that the writer loads.
#include <gtest/gtest.h>

#include "platform/linux/video/Libav.h"

namespace hallkorb {
namespace {

class Bibliotheken : public testing::Environment {
 public:
  void SetUp() override { ASSERT_TRUE(ladeLibav().gelungen()); }
};

[[maybe_unused]] const auto* const bibliotheken =
    testing::AddGlobalTestEnvironment(new Bibliotheken);

}  // namespace
}  // namespace hallkorb
