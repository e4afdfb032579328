#include "detections/query.h"

#include "detections/record.h"
#include "python/calls.h"
#include "python/values.h"

namespace detections {

namespace {

constexpr char kSelect[] = "SELECT * FROM detections";
constexpr char kWhere[] = " WHERE ";
constexpr char kAnd[] = " AND ";
constexpr char kPage[] = " ORDER BY timestamp DESC LIMIT ? OFFSET ?";

}  // namespace

PageQuery::PageQuery() : sql_(kSelect), joiner_(kWhere), parameters_(python::list()) {}

void PageQuery::require(const char* condition) {
  sql_ += joiner_;
  sql_ += condition;
  joiner_ = kAnd;
}

void PageQuery::require(const char* condition, PyObject* value) {
  require(condition);
  python::append(parameters_, value);
}

void PageQuery::require_if_given(const char* condition, PyObject* value) {
  if (python::truth(value)) require(condition, value);
}

void PageQuery::require_dates(PyObject* date_from, PyObject* date_to) {
  require_if_given("timestamp >= ?", date_from);
  require_if_given("timestamp <= ?", date_to);
}

void PageQuery::end(PyObject* limit, PyObject* offset) {
  sql_ += kPage;
  python::append(parameters_, limit);
  python::append(parameters_, offset);
}

python::Object fetch_records(store::Scope& scope, PyObject* self, const PageQuery& query) {
  return scope.run([&](const store::ScopeConnection& connection) {
    const python::Object cursor = connection.execute(python::text(query.sql()), query.parameters());
    return records(self, store::fetchall(cursor));
  });
}

}  // namespace detections
