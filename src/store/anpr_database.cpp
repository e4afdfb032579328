#include "store/anpr_database.h"

#include "python/calls.h"
#include "python/namespace.h"
#include "python/values.h"
#include "store/connection.h"
#include "store/standard_sqlite3.h"

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
  const Object options = Object::take(PyDict_New());
  python::check(PyDict_SetItem(options.get(), kParents.get(), Py_True));
  python::check(PyDict_SetItem(options.get(), kExistOk.get(), Py_True));
  const Object nothing = python::tuple();
  python::call_with_keywords(mkdir.get(), nothing.get(), options.get());
}

}  // namespace

python::Object init(PyObject* self, const python::Arguments& given) {
  const Object path = python::call(python::global(kPath).get(), given["db_path"]);
  python::set_attribute(self, kDbPath, path.get());
  make_directory(python::attribute(python::attribute(self, kDbPath).get(), kParent));
  python::call_method(self, kInitSchema);
  return python::none();
}

python::Object get_conn(PyObject* self, const python::Arguments&) {
  const Object connect = python::attribute(python::global(kSqlite3).get(), kConnect);
  const Object path = python::text_of(python::attribute(self, kDbPath).get());
  Object connection = connect.is(standard_sqlite3().connect) ? open_connection(path.get())
                                                             : python::call(connect.get(), path);
  const Object row = python::attribute(python::global(kSqlite3).get(), kRow);
  python::set_attribute(connection.get(), kRowFactory, row.get());
  return connection;
}

}  // namespace store
