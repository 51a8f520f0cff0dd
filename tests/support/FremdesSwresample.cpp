// A library that has all functions of libswresample in use, but knows no channel layouts by name,
// as those before FFmpeg 5.1. Nothing but its options is ever asked of it.
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr int OHNE_OPTION = -1;
int kontext = 0;

}  // namespace

extern "C" {

void av_log_set_level(int) {}
int av_opt_set(void*, const char* name, const char*, int) {
  return std::strstr(name, "chlayout") != nullptr ? OHNE_OPTION : 0;
}
int av_opt_set_double(void*, const char*, double, int) {
  return 0;
}
int av_opt_set_int(void*, const char*, std::int64_t, int) {
  return 0;
}
int av_strerror(int, char*, std::size_t) {
  return 0;
}
void* swr_alloc() {
  return &kontext;
}
int swr_convert(void*, std::uint8_t**, int, const std::uint8_t**, int) {
  return OHNE_OPTION;
}
int swr_drop_output(void*, int) {
  return 0;
}
void swr_free(void** swr) {
  *swr = nullptr;
}
int swr_init(void*) {
  return 0;
}
int swr_inject_silence(void*, int) {
  return 0;
}

}  // extern "C"
