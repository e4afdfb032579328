#include "dbapi/row_shape.h"

#include "python/kept.h"
#include "python/native_type.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;

constinit PyTypeObject* type = nullptr;

Object described(const Object& name) {
  return python::tuple(name, Py_None, Py_None, Py_None, Py_None, Py_None, Py_None);
}

Object interned(const char* utf8) {
  PyObject* name = python::text(utf8).release();
  PyUnicode_InternInPlace(&name);
  return Object::take(name);
}

bool all_distinct(PyObject* names) {
  const Py_ssize_t count = PyTuple_GET_SIZE(names);
  for (Py_ssize_t i = 0; i < count; ++i) {
    for (Py_ssize_t j = 0; j < i; ++j) {
      if (same_column(PyTuple_GET_ITEM(names, i), PyTuple_GET_ITEM(names, j))) return false;
    }
  }
  return true;
}

Object make_shape(Object description, Object names) {
  auto& shape = python::make_instance<RowShape>(type);
  shape.distinct = false;
  shape.description = std::move(description);
  shape.names = std::move(names);
  Object object = Object::take(reinterpret_cast<PyObject*>(&shape));
  shape.distinct = all_distinct(shape.names.get());
  return object;
}

void deallocate(PyObject* self) { python::free_instance<RowShape>(self); }

PyType_Slot slots[] = {
    {Py_tp_dealloc, python::slot_entry(deallocate)},
    {0, nullptr},
};

PyType_Spec spec = {
    .name = "zentrope_anpr.zentrope_anpr_server_db.RowShape",
    .basicsize = sizeof(RowShape),
    .itemsize = 0,
    .flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_IMMUTABLETYPE | Py_TPFLAGS_DISALLOW_INSTANTIATION,
    .slots = slots,
};

}  // namespace

Py_ssize_t RowShape::column_named(PyObject* interned) const noexcept {
  for (Py_ssize_t i = 0; i < columns(); ++i) {
    if (this->name(i) == interned) return i;
  }
  return -1;
}

python::Object RowShape::blank_mapping() {
  if (!blank) {
    Object mapping = python::dict();
    for (Py_ssize_t i = 0; i < columns(); ++i) python::set_item(mapping, name(i), Py_None);
    blank = std::move(mapping);
  }
  // Copying a dict keeps its table, so that no row's dict has to grow.
  return Object::take(PyDict_Copy(blank.get()));
}

void make_row_shape_type() {
  if (type != nullptr) return;
  python::keep(type, Object::take(PyType_FromSpec(&spec)));
}

python::Object shape_of_rows(const sqlite::Statement& statement) {
  const int count = statement.column_count();
  Object description = Object::take(PyTuple_New(count));
  Object names = Object::take(PyTuple_New(count));
  for (int i = 0; i < count; ++i) {
    Object name = interned(statement.column_name(i));
    PyTuple_SET_ITEM(description.get(), i, described(name).release());
    PyTuple_SET_ITEM(names.get(), i, name.release());
  }
  return make_shape(std::move(description), std::move(names));
}

python::Object shape_described(PyObject* description) {
  if (description == nullptr || description == Py_None) return {};
  const Py_ssize_t count = PyTuple_GET_SIZE(description);
  Object names = Object::take(PyTuple_New(count));
  for (Py_ssize_t i = 0; i < count; ++i) {
    PyObject* const column = PyTuple_GET_ITEM(description, i);
    PyTuple_SET_ITEM(names.get(), i, Py_NewRef(PyTuple_GET_ITEM(column, 0)));
  }
  return make_shape(Object::share(description), std::move(names));
}

bool same_column(PyObject* one, PyObject* other) {
  if (one == other) return true;
  const Py_ssize_t length = PyUnicode_GET_LENGTH(one);
  if (length != PyUnicode_GET_LENGTH(other)) return false;
  if (!PyUnicode_IS_ASCII(one) || !PyUnicode_IS_ASCII(other))
    return PyUnicode_Compare(one, other) == 0;
  const auto* const characters = PyUnicode_1BYTE_DATA(one);
  const auto* const others = PyUnicode_1BYTE_DATA(other);
  for (Py_ssize_t i = 0; i < length; ++i) {
    if (Py_TOLOWER(characters[i]) != Py_TOLOWER(others[i])) return false;
  }
  return true;
}

}  // namespace dbapi
