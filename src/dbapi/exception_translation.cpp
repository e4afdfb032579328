#include "dbapi/exception_translation.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "dbapi/standard_sqlite3.h"
#include "python/errors.h"
#include "python/hang_thread.h"
#include "sqlite/error.h"

namespace dbapi {

void set_error_from_exception() noexcept {
  try {
    try {
      throw;
    } catch (const sqlite::Error& error) {
      // A signal's handler that raised has ended a wait for a lock: its exception says why.
      if (PyErr_Occurred() == nullptr) set_error(error);
    }
  } catch (const python::PythonError&) {
    // Already pending; raising again would hide the first error.
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::length_error&) {
    PyErr_NoMemory();  // more than a container can ever hold
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_SystemError, error.what());
  } catch (...) {
    python::
        hang_thread();  // the thread is being unwound at exit, out of a call that was not translate_exceptions
  }
}

}  // namespace dbapi
