// In which encoding the bytes of a JSON document are written.
#pragma once

#include <string_view>

namespace json {

// The name of the codec, from the byte order mark or from where
// the first characters, which are ASCII, have zero bytes.
constexpr const char* encoding_of(std::string_view document) noexcept {
  using namespace std::string_view_literals;
  const auto starts_with = [&](std::string_view mark) { return document.starts_with(mark); };
  if (starts_with("\x00\x00\xfe\xff"sv) || starts_with("\xff\xfe\x00\x00"sv)) return "utf-32";
  if (starts_with("\xfe\xff"sv) || starts_with("\xff\xfe"sv)) return "utf-16";
  if (starts_with("\xef\xbb\xbf"sv)) return "utf-8-sig";
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
