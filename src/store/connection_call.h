// One engine call on a connection.
#pragma once

#include <optional>

#include "python/lock_turn.h"
#include "store/connection.h"
#include "store/engine_call.h"

namespace store {

// Marks the connection as in a call, with the interpreter lock held, until the lock is back, and
// keeps the connection alive. While the lock is let go no other thread may enter the engine with
// this connection. Statements dropped meanwhile are finalised at the end.
class ConnectionCall {
 public:
  // ProgrammingError if the connection is in a call already: something that the engine called has
  // come back to it.
  explicit ConnectionCall(Connection& connection);
  ~ConnectionCall();
  ConnectionCall(const ConnectionCall&) = delete;
  ConnectionCall& operator=(const ConnectionCall&) = delete;

 private:
  Connection& connection_;
  python::Object kept_;
  python::LockTurn::Entry entry_;
  std::optional<EngineCall> engine_;
};

}  // namespace store
