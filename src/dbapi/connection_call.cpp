#include "dbapi/connection_call.h"

#include <memory>
#include <utility>

#include "dbapi/standard_sqlite3.h"
#include "python/errors.h"

namespace dbapi {

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
    // Taken out with the GIL held: another thread may drop one more while this one is finalised.
    std::shared_ptr<sqlite::Statement> statement = std::move(connection_.leftovers.back());
    connection_.leftovers.pop_back();
    const EngineCall finalising;
    statement->reset_if_own();
    statement.reset();
  }
  connection_.in_call = false;
}

}  // namespace dbapi
