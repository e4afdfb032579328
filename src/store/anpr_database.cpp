#include "store/anpr_database.h"

#include "dbapi/connection.h"
#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/namespace.h"
#include "python/values.h"

namespace store {

namespace {

using python::Object;

constinit python::Name kPath{"Path"};
constinit python::Name kDbPath{"db_path"};
constinit python::Name kParent{"parent"};
constinit python::Name kMkdir{"mkdir"};
constinit python::Name kParents{"parents"};
constinit python::Name kExistOk{"exist_ok"};
constinit python::Name kInitSchema{"_init_schema"};
constinit python::Name kSqlite3{"sqlite3"};
constinit python::Name kConnect{"connect"};
constinit python::Name kRow{"Row"};
constinit python::Name kRowFactory{"row_factory"};

void make_directory(const Object& path) {
  const Object mkdir = python::attribute(path.get(), kMkdir);
  const Object options = python::dict();
  python::set_item(options, kParents, Py_True);
  python::set_item(options, kExistOk, Py_True);
  const Object nothing = python::tuple();
  python::call_with_keywords(mkdir.get(), nothing.get(), options.get());
}

}  // namespace

python::Object init(PyObject* self, PyObject* db_path) {
  const Object path = python::call(python::global(kPath).get(), db_path);
  python::set_attribute(self, kDbPath, path.get());
  make_directory(python::attribute(python::attribute(self, kDbPath).get(), kParent));
  python::call_method(self, kInitSchema);
  return python::none();
}

python::Object get_conn(PyObject* self) {
  const Object connect = python::attribute(python::global(kSqlite3).get(), kConnect);
  const Object path = python::text_of(python::attribute(self, kDbPath).get());
  Object connection = connect.is(dbapi::standard_sqlite3().connect)
                          ? dbapi::open_connection(path.get())
                          : python::call(connect.get(), path);
  const Object row = python::attribute(python::global(kSqlite3).get(), kRow);
  python::set_attribute(connection.get(), kRowFactory, row.get());
  return connection;
}

}  // namespace store
