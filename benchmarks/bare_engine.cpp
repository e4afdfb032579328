// The engine alone: opens a file, runs statements, reads every column of every row, closes. What a
// store asks of SQLite costs at least this much.
//
// Reads a request a line: seconds, file and statements, separated by tabs. Answers with a line: the
// number of rows of one pass, then the nanoseconds that each pass took.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <sqlite3.h>

namespace {

using Clock = std::chrono::steady_clock;

void check(int code, sqlite3* connection) {
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
  std::cerr << sqlite3_errmsg(connection) << '\n';
  std::exit(1);
}

// Looks at each value as somebody would who takes it over; the sum keeps the compiler from leaving
// that out.
std::uint64_t read_columns(sqlite3_stmt* row) {
  std::uint64_t sum = 0;
  for (int column = 0; column < sqlite3_data_count(row); ++column) {
    switch (sqlite3_column_type(row, column)) {
      case SQLITE_INTEGER:
        sum += static_cast<std::uint64_t>(sqlite3_column_int64(row, column));
        break;
      case SQLITE_FLOAT:
        sum += sqlite3_column_double(row, column) > 0 ? 1 : 0;
        break;
      case SQLITE_TEXT:
        sum += *sqlite3_column_text(row, column);
        sum += static_cast<std::uint64_t>(sqlite3_column_bytes(row, column));
        break;
      default:
        break;
    }
  }
  return sum;
}

// Statements that are expected to fail (a column that is there already) begin with a `!`.
std::uint64_t run(sqlite3* connection, const std::string& text, std::uint64_t& sum) {
  const bool may_fail = text.front() == '!';
  sqlite3_stmt* statement = nullptr;
  const int code =
      sqlite3_prepare_v2(connection, text.c_str() + (may_fail ? 1 : 0), -1, &statement, nullptr);
  if (may_fail && code != SQLITE_OK) return 0;
  check(code, connection);
  std::uint64_t rows = 0;
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
    ++rows;
    sum += read_columns(statement);
  }
  check(step, connection);
  sqlite3_finalize(statement);
  return rows;
}

std::uint64_t pass(const std::string& file, const std::vector<std::string>& statements,
                   std::uint64_t& sum) {
  sqlite3* connection = nullptr;
  constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  check(sqlite3_open_v2(file.c_str(), &connection, kFlags, nullptr), connection);
  sqlite3_busy_timeout(connection, 5000);
  std::uint64_t rows = 0;
  for (const std::string& statement : statements) rows += run(connection, statement, sum);
  sqlite3_close(connection);
  return rows;
}

std::vector<std::string> fields_of(const std::string& line) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == '\t') {
      fields.emplace_back();
    } else {
      fields.back().push_back(c);
    }
  }
  return fields;
}

}  // namespace

int main() {
  std::uint64_t sum = 0;
  std::string line;
  while (std::getline(std::cin, line)) {
    const std::vector<std::string> fields = fields_of(line);
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(std::stod(fields[0])));
    const std::vector<std::string> statements(fields.begin() + 2, fields.end());
    std::vector<std::int64_t> times;
    std::uint64_t rows = 0;
    do {
      const auto started = Clock::now();
      rows = pass(fields[1], statements, sum);
      times.push_back(
          std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - started).count());
    } while (Clock::now() < end);
    std::cout << rows;
    for (const std::int64_t each : times) std::cout << ' ' << each;
    std::cout << '\n' << std::flush;
  }
  if (sum == 0) std::cerr << "no value was read\n";
}
