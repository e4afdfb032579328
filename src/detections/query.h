// A SELECT over detections that is put together from fixed pieces and `?` placeholders.
#pragma once

#include <Python.h>

#include <string>

#include "python/object.h"
#include "store/scope.h"

namespace detections {

// One page of detections, newest first, that meet all conditions. Conditions and parameters keep
// the order in which they are added.
class PageQuery {
 public:
  PageQuery();

  // Adds a condition without placeholder.
  void require(const char* condition);
  // Adds a condition with one placeholder and its value.
  void require(const char* condition, PyObject* value);
  // The same if `value` is true as a truth value.
  void require_if_given(const char* condition, PyObject* value);
  // timestamp bounds, inclusive, compared as text.
  void require_dates(PyObject* date_from, PyObject* date_to);

  // Ends the statement with the page's bounds.
  void end(PyObject* limit, PyObject* offset);

  const std::string& sql() const noexcept { return sql_; }
  const python::Object& parameters() const noexcept { return parameters_; }

 private:
  std::string sql_;
  const char* joiner_;
  python::Object parameters_;  // a list
};

// Runs the query in the scope and turns its rows into records.
python::Object fetch_records(store::Scope& scope, PyObject* self, const PageQuery& query);

}  // namespace detections
