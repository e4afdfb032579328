// What the engine reported, copied at the failing call before the next one overwrites it.
#pragma once

#include <stdexcept>

#include <sqlite3.h>

namespace sqlite {

// Copies share the message, so that copying one while it is thrown cannot fail.
class Error : public std::runtime_error {
 public:
  // `code` is an extended result code.
  Error(int code, const char* message) : std::runtime_error(message), code_(code) {}
  // The connection's latest error; `handle` may be null (no memory to open one).
  static Error latest(sqlite3* handle) {
    if (handle == nullptr) return {SQLITE_NOMEM, sqlite3_errstr(SQLITE_NOMEM)};
    return {sqlite3_extended_errcode(handle), sqlite3_errmsg(handle)};
  }

  int code() const noexcept { return code_; }
  int primary_code() const noexcept { return code_ & 0xff; }

 private:
  int code_;
};

// The SQLITE_... name of an extended result code; "unknown" if this build has none for it.
const char* code_name(int code) noexcept;

}  // namespace sqlite
