#include "store/connection_call.h"

#include <memory>
#include <utility>

#include "python/errors.h"
#include "store/standard_sqlite3.h"

namespace store {

ConnectionCall::ConnectionCall(Connection& connection)
    : connection_(connection), kept_(python::Object::share(connection.object())) {
  if (connection.in_call) {
    python::raise(standard_sqlite3().programming_error,
                  "Recursive use of connections not allowed.");
  }
  connection.in_call = true;
  engine_.emplace();
}

ConnectionCall::~ConnectionCall() {
  engine_.reset();
  while (!connection_.leftovers.empty()) {
    // Taken out with the lock held: another thread may drop one more while this one is finalised.
    std::shared_ptr<sqlite::Statement> statement = std::move(connection_.leftovers.back());
    connection_.leftovers.pop_back();
    const EngineCall finalising;
    statement->reset_if_own();
    statement.reset();
  }
  connection_.in_call = false;
}

}  // namespace store
