#include "json/encoding.h"

namespace json {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kUtf32Marks[] = {"\x00\x00\xfe\xff"sv, "\xff\xfe\x00\x00"sv};
constexpr std::string_view kUtf16Marks[] = {"\xfe\xff"sv, "\xff\xfe"sv};
constexpr std::string_view kUtf8Mark = "\xef\xbb\xbf"sv;

}  // namespace

const char* encoding_of(std::string_view document) noexcept {
  for (const std::string_view mark : kUtf32Marks) {
    if (document.starts_with(mark)) return "utf-32";
  }
  for (const std::string_view mark : kUtf16Marks) {
    if (document.starts_with(mark)) return "utf-16";
  }
  if (document.starts_with(kUtf8Mark)) return "utf-8-sig";
  if (document.size() >= 4) {
    if (document[0] == 0) return document[1] != 0 ? "utf-16-be" : "utf-32-be";
    if (document[1] == 0) return document[2] != 0 || document[3] != 0 ? "utf-16-le" : "utf-32-le";
  } else if (document.size() == 2) {
    if (document[0] == 0) return "utf-16-be";
    if (document[1] == 0) return "utf-16-le";
  }
  return "utf-8";
}

}  // namespace json
