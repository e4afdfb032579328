#include "dbapi/row.h"

#include "dbapi/cursor.h"
#include "dbapi/cursor_type.h"
#include "dbapi/exception_translation.h"
#include "python/calls.h"
#include "python/kept.h"
#include "python/native_type.h"
#include "python/positional.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;

constinit PyTypeObject* type = nullptr;

constinit python::Name kAbc{"collections.abc"};
constinit python::Name kRegister{"register"};
constinit python::Name kSequence{"Sequence"};

PyObject* names_of(const Row& row) {
  return row.shape ? RowShape::of(row.shape.get()).names.get() : nullptr;
}
PyObject* description_of(const Row& row) {
  return row.shape ? RowShape::of(row.shape.get()).description.get() : Py_None;
}

PyObject* new_row(PyTypeObject* made, PyObject* arguments, PyObject* keywords) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    if (keywords != nullptr && PyDict_GET_SIZE(keywords) > 0) {
      python::raise(PyExc_TypeError, "Row() takes no keyword arguments");
    }
    PyObject* cursor = nullptr;
    PyObject* values = nullptr;
    if (PyArg_UnpackTuple(arguments, "Row", 2, 2, &cursor, &values) == 0)
      throw python::PythonError{};
    if (!is_cursor(cursor)) {
      python::raise_formatted(PyExc_TypeError, "Row() argument 1 must be sqlite3.Cursor, not %.50s",
                              python::shown_type(cursor));
    }
    if (!PyTuple_Check(values)) {
      python::raise_formatted(PyExc_TypeError, "Row() argument 2 must be tuple, not %.50s",
                              python::shown_type(values));
    }
    Object shape = shape_described(Cursor::of(cursor).description.get());
    auto& row = python::make_instance<Row>(made);
    row.shape = std::move(shape);
    row.made_values = Object::share(values);
    return reinterpret_cast<PyObject*>(&row);
  });
}

Py_ssize_t length(PyObject* self) { return Row::of(self).length(); }

PyObject* item(PyObject* self, Py_ssize_t index) {
  return translate_exceptions<PyObject*>(
      nullptr, [&] { return Py_XNewRef(PyTuple_GetItem(Row::of(self).values(), index)); });
}

// Like a column's name in a row, a key is compared as text
// first, so that a subclass of str may say what it equals.
bool is_key_of(PyObject* key, PyObject* name) {
  if (!PyUnicode_CheckExact(key)) {
    const int equal =
        python::in_interpreter([&] { return PyObject_RichCompareBool(key, name, Py_EQ); });
    python::check(equal);
    if (equal != 0) return true;
  }
  return same_column(key, name);
}

PyObject* value_named(Row& row, PyObject* key) {
  PyObject* const names = names_of(row);
  for (Py_ssize_t i = 0; names != nullptr && i < PyTuple_GET_SIZE(names); ++i) {
    if (is_key_of(key, PyTuple_GET_ITEM(names, i)))
      return Py_XNewRef(PyTuple_GetItem(row.values(), i));
  }
  python::raise(PyExc_IndexError, "No item with that key");
}

PyObject* subscript(PyObject* self, PyObject* key) {
  return translate_exceptions<PyObject*>(nullptr, [&]() -> PyObject* {
    // A key may run Python code, as may the values of a row made by hand below.
    const Object kept = Object::share(self);
    const Object kept_key = Object::share(key);
    Row& row = Row::of(self);
    if (PyLong_Check(key)) {
      const Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
      if (index == -1 && PyErr_Occurred() != nullptr) throw python::PythonError{};
      return item(self, index < 0 ? index + length(self) : index);
    }
    if (PyUnicode_Check(key)) return value_named(row, key);
    if (PySlice_Check(key)) return python::item(row.values(), key).release();
    python::raise(PyExc_IndexError, "Index must be int or string");
  });
}

PyObject* keys(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    PyObject* const names = names_of(Row::of(self));
    return (names == nullptr ? python::list() : Object::take(PySequence_List(names))).release();
  });
}

PyObject* iterate(PyObject* self) {
  return translate_exceptions<PyObject*>(nullptr,
                                         [&] { return PyObject_GetIter(Row::of(self).values()); });
}

Py_hash_t hash(PyObject* self) {
  return translate_exceptions<Py_hash_t>(-1, [&] {
    const auto hash_of = [](PyObject* object) {
      const Py_hash_t result = python::in_interpreter([&] { return PyObject_Hash(object); });
      if (result == -1) throw python::PythonError{};
      return result;
    };
    const Object kept = Object::share(self);
    const Py_hash_t both = hash_of(description_of(Row::of(self))) ^ hash_of(Row::of(self).values());
    return both == -1 ? -2 : both;
  });
}

PyObject* compare(PyObject* self, PyObject* other, int operation) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    const bool comparable =
        (operation == Py_EQ || operation == Py_NE) && PyObject_TypeCheck(other, type);
    if (!comparable) return Py_NewRef(Py_NotImplemented);
    const auto equal = [](PyObject* one, PyObject* two) {
      const int result =
          python::in_interpreter([&] { return PyObject_RichCompareBool(one, two, Py_EQ); });
      python::check(result);
      return result != 0;
    };
    const Object kept = Object::share(self);
    const Object kept_other = Object::share(other);
    Row& row = Row::of(self);
    Row& another = Row::of(other);
    const bool same = equal(description_of(row), description_of(another)) &&
                      equal(row.values(), another.values());
    return python::boolean(same == (operation == Py_EQ)).release();
  });
}

int traverse(PyObject* self, visitproc visit, void* arg) {
  Py_VISIT(Py_TYPE(self));
  Py_VISIT(Row::of(self).made_values.get());
  return 0;
}

void deallocate(PyObject* self) {
  PyObject_GC_UnTrack(self);
  python::free_instance<Row>(self);
}

PyMethodDef methods[] = {
    {"keys", keys, METH_NOARGS,
     PyDoc_STR("keys($self, /)\n--\n\nReturn the names of the columns.")},
    {nullptr, nullptr, 0, nullptr},
};

PyType_Slot slots[] = {
    {Py_tp_doc, const_cast<char*>("A row that can be read by position and by column name.")},
    {Py_tp_new, python::slot_entry(new_row)},
    {Py_tp_dealloc, python::slot_entry(deallocate)},
    {Py_tp_traverse, python::slot_entry(traverse)},
    {Py_tp_hash, python::slot_entry(hash)},
    {Py_tp_richcompare, python::slot_entry(compare)},
    {Py_tp_iter, python::slot_entry(iterate)},
    {Py_tp_methods, methods},
    {Py_mp_length, python::slot_entry(length)},
    {Py_mp_subscript, python::slot_entry(subscript)},
    {Py_sq_length, python::slot_entry(length)},
    {Py_sq_item, python::slot_entry(item)},
    {0, nullptr},
};

PyType_Spec spec = {
    .name = "zentrope_anpr.zentrope_anpr_server_db.Row",
    .basicsize = sizeof(Row),
    .itemsize = 0,
    .flags =
        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_IMMUTABLETYPE,
    .slots = slots,
};

}  // namespace

RowShape* columns_of(PyObject* row) noexcept {
  if (!Py_IS_TYPE(row, type) || !Row::of(row).shape) return nullptr;
  RowShape& shape = RowShape::of(Row::of(row).shape.get());
  const bool usable = shape.distinct && shape.columns() == Row::of(row).length();
  return usable ? &shape : nullptr;
}

python::Object make_row(const python::Object& shape, python::Object values) {
  // Its values are texts, numbers and bytes.
  auto& row = python::make_untracked_instance<Row>(type);
  row.shape = shape;
  row.made_values = std::move(values);
  return Object::take(reinterpret_cast<PyObject*>(&row));
}

python::Object make_row(const python::Object& shape, const sqlite::SharedBatch& batch,
                        std::size_t index) {
  auto& row = python::make_untracked_instance<Row>(type);
  row.shape = shape;
  row.batch = batch;
  row.index = index;
  return Object::take(reinterpret_cast<PyObject*>(&row));
}

PyObject* Row::values() {
  if (made_values) return made_values.get();
  const auto columns = static_cast<std::size_t>(length());
  Object made = Object::take(PyTuple_New(length()));
  for (std::size_t column = 0; column < columns; ++column) {
    PyTuple_SET_ITEM(
        made.get(), static_cast<Py_ssize_t>(column),
        python_value(RowShape::of(shape.get()), column, batch->value(index, column)).release());
  }
  // Texts, numbers and bytes only: no cycle goes through it.
  PyObject_GC_UnTrack(made.get());
  made_values = std::move(made);
  batch = sqlite::SharedBatch();
  return made_values.get();
}

python::Object Row::value(Py_ssize_t column) {
  if (made_values) return Object::share(PyTuple_GET_ITEM(made_values.get(), column));
  const auto position = static_cast<std::size_t>(column);
  return python_value(RowShape::of(shape.get()), position, batch->value(index, position));
}

std::optional<sqlite::Value> Row::stored(Py_ssize_t column) const noexcept {
  if (made_values) return std::nullopt;
  return batch->value(index, static_cast<std::size_t>(column));
}

python::Object python_value(RowShape& shape, std::size_t column, const sqlite::Value& stored) {
  switch (stored.type) {
    case SQLITE_INTEGER:
      return python::integer(stored.integer);
    case SQLITE_FLOAT:
      return Object::take(PyFloat_FromDouble(stored.real));
    case SQLITE_TEXT:
      return shape.text(column, stored.bytes);
    case SQLITE_BLOB:
      return Object::take(PyBytes_FromStringAndSize(stored.bytes.data(),
                                                    static_cast<Py_ssize_t>(stored.bytes.size())));
    default:
      return python::none();
  }
}

void make_row_type() {
  if (type != nullptr) return;
  const Object made = Object::take(PyType_FromSpec(&spec));
  // As with sqlite3.Row: isinstance and sequence patterns know it.
  if (const Object abc = python::imported_module(kAbc)) {
    python::call_method(python::attribute(abc.get(), kSequence).get(), kRegister, made);
  }
  python::keep(type, made);
}

}  // namespace dbapi
