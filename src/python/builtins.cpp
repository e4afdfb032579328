#include "python/builtins.h"

#include "python/calls.h"
#include "python/kept.h"
#include "python/namespace.h"

namespace python {

namespace {

constinit Builtins remembered;

constinit Name kStaticmethod{"staticmethod"};
constinit Name kRound{"round"};
constinit Name kTypeError{"TypeError"};
constinit Name kSorted{"sorted"};

void remember(PyObject*& place, PyObject* module, const Name& name) {
  Object found = attribute_if_any(module, name.get());
  if (!found) raise_undefined(name);
  keep(place, std::move(found));
}

}  // namespace

const Builtins& builtins() noexcept { return remembered; }

void remember_builtins(PyObject* module) {
  remember(remembered.staticmethod, module, kStaticmethod);
  remember(remembered.round, module, kRound);
  remember(remembered.type_error, module, kTypeError);
  remember(remembered.sorted, module, kSorted);
}

}  // namespace python
