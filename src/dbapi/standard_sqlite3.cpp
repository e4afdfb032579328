#include "dbapi/standard_sqlite3.h"

#include "python/calls.h"
#include "python/kept.h"
#include "python/values.h"

namespace dbapi {

namespace {

constinit StandardSqlite3 standard;

constinit python::Name kDefiningModule{"_sqlite3"};
constinit python::Name kErrorCode{"sqlite_errorcode"};
constinit python::Name kErrorName{"sqlite_errorname"};

struct Member {
  PyObject* StandardSqlite3::* place;
  python::Name name;
};

constinit Member members[] = {
    {&StandardSqlite3::connect, python::Name{"connect"}},
    {&StandardSqlite3::row, python::Name{"Row"}},
    {&StandardSqlite3::adapters, python::Name{"adapters"}},
    {&StandardSqlite3::prepare_protocol, python::Name{"PrepareProtocol"}},
    {&StandardSqlite3::database_error, python::Name{"DatabaseError"}},
    {&StandardSqlite3::data_error, python::Name{"DataError"}},
    {&StandardSqlite3::integrity_error, python::Name{"IntegrityError"}},
    {&StandardSqlite3::interface_error, python::Name{"InterfaceError"}},
    {&StandardSqlite3::internal_error, python::Name{"InternalError"}},
    {&StandardSqlite3::operational_error, python::Name{"OperationalError"}},
    {&StandardSqlite3::programming_error, python::Name{"ProgrammingError"}},
};

PyObject* exception_class(int primary_code) noexcept {
  switch (primary_code) {
    case SQLITE_INTERNAL:
    case SQLITE_NOTFOUND:
      return standard.internal_error;
    case SQLITE_ERROR:
    case SQLITE_PERM:
    case SQLITE_ABORT:
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_READONLY:
    case SQLITE_INTERRUPT:
    case SQLITE_IOERR:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_PROTOCOL:
    case SQLITE_EMPTY:
    case SQLITE_SCHEMA:
      return standard.operational_error;
    case SQLITE_TOOBIG:
      return standard.data_error;
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
      return standard.integrity_error;
    case SQLITE_MISUSE:
    case SQLITE_RANGE:
      return standard.interface_error;
    default:
      return standard.database_error;
  }
}

}  // namespace

const StandardSqlite3& standard_sqlite3() noexcept { return standard; }

void remember_standard_sqlite3() {
  const python::Object module = python::imported_module(kDefiningModule);
  if (!module) return;
  for (const Member& member : members) {
    python::keep(standard.*member.place, python::attribute(module.get(), member.name));
  }
}

void set_error(const sqlite::Error& error) {
  if (error.primary_code() == SQLITE_NOMEM) {
    PyErr_NoMemory();
    return;
  }
  PyObject* const type = exception_class(error.primary_code());
  const python::Object exception = python::call(type, python::text(error.what()));
  python::set_attribute(exception.get(), kErrorCode, python::integer(error.code()).get());
  python::set_attribute(exception.get(), kErrorName,
                        python::text(sqlite::code_name(error.code())).get());
  PyErr_SetObject(type, exception.get());
}

}  // namespace dbapi
