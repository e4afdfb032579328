// A module for the tests only: the line for a file, without an engine or a file.

#include <Python.h>

#include <memory>
#include <vector>

#include "dbapi/exception_translation.h"
#include "python/object.h"
#include "sqlite/bell.h"
#include "sqlite/file_line.h"

namespace {

using sqlite::Bell;
using sqlite::FileId;
using sqlite::FileLine;

// Somebody who may stand in a line, by number.
struct Waiter {
  Bell bell;
  FileLine::Place place{bell};
};

std::vector<std::unique_ptr<Waiter>> waiters;

FileId file(long number) { return {1, static_cast<ino_t>(number)}; }

// Who holds a lock is an address, of whatever.
const void* holder(long number) {
  static char holders[4096];
  return &holders[number];
}

PyObject* make(PyObject*, PyObject*) {
  waiters.push_back(std::make_unique<Waiter>());
  return PyLong_FromSize_t(waiters.size() - 1);
}

PyObject* stand(PyObject*, PyObject* given) {
  long waiter = 0;
  long number = 0;
  int role = 0;
  if (PyArg_ParseTuple(given, "lli", &waiter, &number, &role) == 0) return nullptr;
  waiters.at(waiter)->place.stand(file(number), static_cast<FileLine::Role>(role));
  Py_RETURN_NONE;
}

PyObject* leave(PyObject*, PyObject* waiter) {
  waiters.at(PyLong_AsLong(waiter))->place.leave();
  Py_RETURN_NONE;
}

PyObject* take_call(PyObject*, PyObject* waiter) {
  return PyBool_FromLong(waiters.at(PyLong_AsLong(waiter))->bell.take() ? 1 : 0);
}

// How the wait for a call ended: 0 called, 1 the time has passed, 2 a signal has come.
PyObject* wait(PyObject*, PyObject* given) {
  long waiter = 0;
  long milliseconds = 0;
  if (PyArg_ParseTuple(given, "ll", &waiter, &milliseconds) == 0) return nullptr;
  Bell& bell = waiters.at(waiter)->bell;
  const auto until = sqlite::WaitClock::now() + std::chrono::milliseconds(milliseconds);
  Bell::Heard heard = Bell::Heard::kSilence;
  Py_BEGIN_ALLOW_THREADS;
  heard = bell.wait(until);
  Py_END_ALLOW_THREADS;
  return PyLong_FromLong(static_cast<long>(heard));
}

PyObject* state(PyObject*, PyObject* waiter) {
  const FileLine::Place& place = waiters.at(PyLong_AsLong(waiter))->place;
  return Py_BuildValue("(OOO)", place.stands() ? Py_True : Py_False,
                       place.is_first() ? Py_True : Py_False,
                       place.will_be_called() ? Py_True : Py_False);
}

PyObject* may_write(PyObject*, PyObject* given) {
  long number = 0;
  long waiter = 0;
  if (PyArg_ParseTuple(given, "ll", &number, &waiter) == 0) return nullptr;
  const FileLine::Place* const place = waiter < 0 ? nullptr : &waiters.at(waiter)->place;
  return PyBool_FromLong(FileLine::may_write(file(number), place) ? 1 : 0);
}

PyObject* locked(PyObject*, PyObject* given) {
  long number = 0;
  long who = 0;
  if (PyArg_ParseTuple(given, "ll", &number, &who) == 0) return nullptr;
  FileLine::write_locked(file(number), holder(who));
  Py_RETURN_NONE;
}

PyObject* unlocked(PyObject*, PyObject* given) {
  long number = 0;
  long who = 0;
  if (PyArg_ParseTuple(given, "ll", &number, &who) == 0) return nullptr;
  FileLine::write_unlocked(file(number), holder(who));
  Py_RETURN_NONE;
}

PyObject* reader_left(PyObject*, PyObject* number) {
  FileLine::reader_left(file(PyLong_AsLong(number)));
  Py_RETURN_NONE;
}

PyObject* counts(PyObject*, PyObject*) {
  return Py_BuildValue("(ii)", FileLine::lines(), FileLine::waiters());
}

PyMethodDef methods[] = {
    {"make", make, METH_NOARGS, PyDoc_STR("Makes a waiter.")},
    {"stand", stand, METH_VARARGS, PyDoc_STR("(waiter, file, role)")},
    {"leave", leave, METH_O, PyDoc_STR("(waiter)")},
    {"take_call", take_call, METH_O, PyDoc_STR("(waiter): whether it was called.")},
    {"wait", wait, METH_VARARGS, PyDoc_STR("(waiter, milliseconds)")},
    {"state", state, METH_O, PyDoc_STR("(waiter): stands, is first, will be called.")},
    {"may_write", may_write, METH_VARARGS, PyDoc_STR("(file, waiter or -1)")},
    {"locked", locked, METH_VARARGS, PyDoc_STR("(file, holder)")},
    {"unlocked", unlocked, METH_VARARGS, PyDoc_STR("(file, holder)")},
    {"reader_left", reader_left, METH_O, PyDoc_STR("(file)")},
    {"counts", counts, METH_NOARGS, PyDoc_STR("Lines and waiters.")},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {
    .m_base = PyModuleDef_HEAD_INIT,
    .m_name = "line_internals",
    .m_doc = nullptr,
    .m_size = -1,
    .m_methods = methods,
    .m_slots = nullptr,
    .m_traverse = nullptr,
    .m_clear = nullptr,
    .m_free = nullptr,
};

}  // namespace

PyMODINIT_FUNC PyInit_line_internals() { return PyModule_Create(&definition); }
