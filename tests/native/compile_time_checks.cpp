// Pure functions, checked by the compiler: a wrong answer does not build.

#include <string_view>

#include "json/encoding.h"
#include "sqlite/sql_text.h"

namespace {

using namespace std::string_view_literals;
using json::encoding_of;
using sqlite::changes_rows;
using sqlite::from_first_statement;

static_assert(from_first_statement("SELECT 1") == "SELECT 1");
static_assert(from_first_statement(" \t\f\n\rSELECT 1; x") == "SELECT 1; x");
static_assert(from_first_statement("\vSELECT 1") == "\vSELECT 1");
static_assert(from_first_statement("-- a\n-- b\n  SELECT 1") == "SELECT 1");
static_assert(from_first_statement("/* a */ /**/ -- b\nSELECT 1") == "SELECT 1");
static_assert(from_first_statement("/*/ still inside */SELECT 1") == "SELECT 1");
static_assert(from_first_statement("- 1") == "- 1");
static_assert(from_first_statement("/ 1") == "/ 1");
static_assert(from_first_statement("").empty());
static_assert(from_first_statement(" \n").empty());
static_assert(from_first_statement("-- no end").empty());
static_assert(from_first_statement("/* no end *").empty());
static_assert(from_first_statement(";") == ";");

static_assert(changes_rows("INSERT INTO t VALUES (1)"));
static_assert(changes_rows("  /* a */ uPdAtE t SET a = 1"));
static_assert(changes_rows("delete from t"));
static_assert(changes_rows("REPLACE INTO t VALUES (1)"));
static_assert(changes_rows("inserted"));
static_assert(!changes_rows("SELECT 1"));
static_assert(!changes_rows("WITH a AS (SELECT 1) INSERT INTO t SELECT * FROM a"));
static_assert(!changes_rows("INSER"));
static_assert(!changes_rows(""));
static_assert(!changes_rows("-- INSERT"));
static_assert(!changes_rows("\xc4NSERT"));
static_assert(!changes_rows("9NSERT"));

static_assert(encoding_of("") == "utf-8"sv);
static_assert(encoding_of("1") == "utf-8"sv);
static_assert(encoding_of("{}") == "utf-8"sv);
static_assert(encoding_of("\xef\xbb\xbf{}") == "utf-8-sig"sv);
static_assert(encoding_of("\xff\xfe{\0"sv) == "utf-16"sv);
static_assert(encoding_of("\xfe\xff\0{"sv) == "utf-16"sv);
static_assert(encoding_of("\xff\xfe\0\0{\0\0\0"sv) == "utf-32"sv);
static_assert(encoding_of("\0\0\xfe\xff\0\0\0{"sv) == "utf-32"sv);
static_assert(encoding_of("\0{"sv) == "utf-16-be"sv);
static_assert(encoding_of("{\0"sv) == "utf-16-le"sv);
static_assert(encoding_of("\0{\0}"sv) == "utf-16-be"sv);
static_assert(encoding_of("{\0}\0"sv) == "utf-16-le"sv);
static_assert(encoding_of("\0\0\0{"sv) == "utf-32-be"sv);
static_assert(encoding_of("{\0\0\0"sv) == "utf-32-le"sv);
static_assert(encoding_of("{\0\0"sv) == "utf-8"sv);

}  // namespace
