// One engine call on a connection.
#pragma once

#include <optional>

#include "dbapi/connection.h"
#include "dbapi/engine_call.h"

namespace dbapi {

// Marks the connection as in a call, with the GIL held, until the GIL is back, and keeps the
// connection alive. While the GIL is let go no other thread may enter the engine with this
// connection. Statements dropped meanwhile are finalised at the end.
class ConnectionCall {
 public:
  // ProgrammingError if the connection is in a call already:
  // something that the engine called has come back to it.
  explicit ConnectionCall(Connection& connection);
  ~ConnectionCall();
  ConnectionCall(const ConnectionCall&) = delete;
  ConnectionCall& operator=(const ConnectionCall&) = delete;

  // What comes now may take long without the engine telling so: the GIL is let go at once.
  void about_to_work_long() noexcept {
    if (engine_) engine_->about_to_wait();
  }

 private:
  Connection& connection_;
  python::Object kept_;
  std::optional<EngineCall> engine_;
};

}  // namespace dbapi
