// In which encoding the bytes of a JSON document are written.
#pragma once

#include <string_view>

namespace json {

// The name of the codec, from the byte order mark or from where
// the first characters, which are ASCII, have zero bytes.
const char* encoding_of(std::string_view document) noexcept;

}  // namespace json
