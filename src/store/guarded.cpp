#include "store/guarded.h"

#include <exception>
#include <new>

#include "python/errors.h"
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
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_SystemError, error.what());
  }
}

}  // namespace store
