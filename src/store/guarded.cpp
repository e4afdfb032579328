#include "store/guarded.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "python/errors.h"
#include "python/park.h"
#include "sqlite/error.h"
#include "store/standard_sqlite3.h"

namespace store {

void raise_current_exception() noexcept {
  try {
    try {
      throw;
    } catch (const sqlite::Error& error) {
      raise(error);
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
    python::park();  // the thread is being unwound at exit, out of a call that was not guarded
  }
}

}  // namespace store
