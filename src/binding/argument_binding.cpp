#include "binding/argument_binding.h"

#include <utility>

#include "python/errors.h"

namespace binding {

namespace {

using python::Object;

class Binder {
 public:
  Binder(const char* method, const ParameterNames& names, PyObject* defaults)
      : method_(method),
        names_(names),
        defaults_(defaults != nullptr && PyTuple_Check(defaults) ? defaults : nullptr) {}

  void take_positional(PyObject* const* arguments, std::size_t count) {
    if (count > names_.count)
      refuse_count(has_defaults() ? "at most" : "exactly", names_.count, count);
    for (std::size_t i = 0; i < count; ++i) bound_[i] = Object::share(arguments[i]);
    positional_ = count;
  }

  void take_keyword(PyObject* keyword, PyObject* value) {
    if (!PyUnicode_Check(keyword)) {
      python::raise_formatted(PyExc_TypeError, "%.200s() keywords must be strings", method_);
    }
    const std::size_t position = position_of(keyword);
    if (position == names_.count) {
      python::raise_formatted(PyExc_TypeError, "%s() got an unexpected keyword argument '%U'",
                              method_, keyword);
    }
    if (bound_[position]) {
      python::raise_formatted(PyExc_TypeError, "%s() got multiple values for keyword argument '%U'",
                              method_, keyword);
    }
    bound_[position] = Object::share(value);
  }

  Arguments with_defaults() && {
    for (std::size_t i = positional_; i < names_.count; ++i) {
      if (bound_[i]) continue;
      if (i < required()) refuse_count(has_defaults() ? "at least" : "exactly", required(), i);
      const std::size_t from_right = names_.count - i;
      bound_[i] = Object::share(PyTuple_GET_ITEM(
          defaults_, PyTuple_GET_SIZE(defaults_) - static_cast<Py_ssize_t>(from_right)));
    }
    return std::move(bound_);
  }

 private:
  bool has_defaults() const { return defaults_ != nullptr && PyTuple_GET_SIZE(defaults_) > 0; }

  std::size_t required() const {
    const auto optional =
        has_defaults() ? static_cast<std::size_t>(PyTuple_GET_SIZE(defaults_)) : 0;
    return optional < names_.count ? names_.count - optional : 0;
  }

  std::size_t position_of(PyObject* keyword) const {
    for (std::size_t i = 0; i < names_.count; ++i) {
      if (names_.interned[i] == keyword) return i;
    }
    for (std::size_t i = 0; i < names_.count; ++i) {
      if (PyUnicode_Compare(names_.interned[i], keyword) == 0) return i;
    }
    return names_.count;
  }

  [[noreturn]] void refuse_count(const char* bound, std::size_t expected, std::size_t given) const {
    python::raise_formatted(PyExc_TypeError,
                            "%.200s() takes %.8s %zd positional argument%.1s (%zd given)", method_,
                            bound, static_cast<Py_ssize_t>(expected), expected == 1 ? "" : "s",
                            static_cast<Py_ssize_t>(given));
  }

  const char* method_;
  const ParameterNames& names_;
  PyObject* defaults_;
  Arguments bound_;
  std::size_t positional_ = 0;
};

}  // namespace

ParameterNames::ParameterNames(const Method& method) : count(method.parameters.size()) {
  for (std::size_t i = 0; i < count; ++i) {
    interned[i] = PyUnicode_InternFromString(method.parameters[i].name);
    if (interned[i] == nullptr) throw python::PythonError{};
  }
}

Arguments bind(const char* method, const ParameterNames& names, PyObject* const* arguments,
               std::size_t count, PyObject* keywords, PyObject* defaults) {
  Binder binder(method, names, defaults);
  binder.take_positional(arguments, count);
  const Py_ssize_t keyword_count = keywords == nullptr ? 0 : PyTuple_GET_SIZE(keywords);
  for (Py_ssize_t i = 0; i < keyword_count; ++i) {
    binder.take_keyword(PyTuple_GET_ITEM(keywords, i),
                        arguments[count + static_cast<std::size_t>(i)]);
  }
  return std::move(binder).with_defaults();
}

}  // namespace binding
