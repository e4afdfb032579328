// A module for the tests only: parts of the store that no operation shows by themselves.

#include <Python.h>

#include "dbapi/exception_translation.h"
#include "json/reader.h"
#include "json/standard_json.h"
#include "json/writer.h"

namespace {

PyObject* dumps(PyObject*, PyObject* value) {
  return dbapi::translate_exceptions<PyObject*>(nullptr,
                                                [&] { return json::dumps(value).release(); });
}

PyObject* loads(PyObject*, PyObject* document) {
  return dbapi::translate_exceptions<PyObject*>(nullptr,
                                                [&] { return json::loads(document).release(); });
}

int execute(PyObject*) {
  return dbapi::translate_exceptions(-1, [] {
    const auto json_module = python::Object::take(PyImport_ImportModule("json"));
    json::remember_standard_json(json_module.get());
    return 0;
  });
}

PyMethodDef methods[] = {
    {"dumps", dumps, METH_O, PyDoc_STR("The store's JSON writer.")},
    {"loads", loads, METH_O, PyDoc_STR("The store's JSON reader.")},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef_Slot slots[] = {
    {Py_mod_exec, reinterpret_cast<void*>(execute)},
    {0, nullptr},
};

PyModuleDef definition = {
    .m_base = PyModuleDef_HEAD_INIT,
    .m_name = "store_internals",
    .m_doc = nullptr,
    .m_size = 0,
    .m_methods = methods,
    .m_slots = slots,
    .m_traverse = nullptr,
    .m_clear = nullptr,
    .m_free = nullptr,
};

}  // namespace

PyMODINIT_FUNC PyInit_store_internals() { return PyModuleDef_Init(&definition); }
