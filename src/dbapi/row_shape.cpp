#include "dbapi/row_shape.h"

#include <array>
#include <cstring>
#include <memory>
#include <utility>

#include "python/kept.h"
#include "python/like_dicts.h"
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

// The row's text that may be shared with the next one.
constexpr std::size_t kLongestShared = 256;

// The patterns of the dicts that the results of late were made into. Never destroyed: what they
// hold must not be dropped after the interpreter's end.
constexpr std::size_t kPatterns = 8;
constinit std::array<python::LikeDicts*, kPatterns> patterns{};
constinit std::size_t oldest_pattern = 0;

const python::LikeDicts& like_dicts(PyObject* names) {
  const std::span<PyObject* const> keys(PySequence_Fast_ITEMS(names),
                                        static_cast<std::size_t>(PyTuple_GET_SIZE(names)));
  for (const python::LikeDicts* pattern : patterns) {
    if (pattern != nullptr && pattern->has_keys(keys)) return *pattern;
  }
  std::vector<Object> own;
  for (PyObject* key : keys) own.push_back(Object::share(key));
  auto made = std::make_unique<python::LikeDicts>(own);
  const std::unique_ptr<python::LikeDicts> replaced(
      std::exchange(patterns[oldest_pattern], made.release()));
  python::LikeDicts& result = *patterns[oldest_pattern];
  oldest_pattern = (oldest_pattern + 1) % kPatterns;
  return result;
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

python::Object RowShape::text(std::size_t column, std::string_view ascii) {
  // A statement that runs again after the schema has
  // changed gives more columns than were described.
  const bool described = column < static_cast<std::size_t>(columns());
  if (!described || ascii.size() > kLongestShared) return python::text(ascii);
  if (recent.empty()) recent.resize(static_cast<std::size_t>(columns()));
  Object& before = recent[column];
  const bool is_equal =
      before && static_cast<std::size_t>(PyUnicode_GET_LENGTH(before.get())) == ascii.size() &&
      std::memcmp(PyUnicode_DATA(before.get()), ascii.data(), ascii.size()) == 0;
  if (!is_equal) before = python::text(ascii);
  return before;
}

python::Object RowShape::mapping(std::span<python::Object> values) {
  return like_dicts(names.get()).make(values);
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
