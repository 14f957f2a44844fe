#include <libpq-fe.h>

#include "database/Connection.h"
#include "database/EngineConnections.h"

namespace rqbservice {
namespace {

struct ResultDeleter {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

class PostgresConnection final : public Connection {
 public:
  explicit PostgresConnection(const std::string& url) : db_(PQconnectdb(url.c_str())) {
    if (db_ == nullptr || PQstatus(db_) != CONNECTION_OK) {
      const std::string why = db_ ? PQerrorMessage(db_) : "out of memory";
      PQfinish(db_);
      throw DatabaseError("postgresql: cannot connect: " + why);
    }
    // Notices ("relation exists, skipping") are not errors; keep them off
    // the service's log.
    PQsetNoticeProcessor(
        db_, [](void*, const char*) {}, nullptr);
  }

  ~PostgresConnection() override { PQfinish(db_); }

  Engine engine() const override { return Engine::kPostgres; }
  bool usable() const override { return PQstatus(db_) == CONNECTION_OK; }

  void Execute(const std::string& sql) override { Check(Result(PQexec(db_, sql.c_str()))); }

  void BeginWrite() override { Execute("BEGIN"); }

  std::vector<SqlRow> Query(const std::string& sql,
                            const std::vector<SqlValue>& parameters) override {
    std::vector<std::string> texts(parameters.size());
    std::vector<const char*> values(parameters.size(), nullptr);
    std::vector<int> lengths(parameters.size(), 0);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      if (const auto* text = std::get_if<std::string>(&parameters[i])) {
        values[i] = text->data();
        lengths[i] = static_cast<int>(text->size());
      } else if (const auto* number = std::get_if<std::int64_t>(&parameters[i])) {
        texts[i] = std::to_string(*number);
        values[i] = texts[i].c_str();
        lengths[i] = static_cast<int>(texts[i].size());
      }
    }
    Result result(PQexecParams(db_, sql.c_str(), static_cast<int>(parameters.size()), nullptr,
                               values.data(), lengths.data(), nullptr, 0));
    Check(result);
    std::vector<SqlRow> rows;
    const int count = PQntuples(result.get()), columns = PQnfields(result.get());
    rows.reserve(static_cast<std::size_t>(count));
    for (int r = 0; r < count; ++r) {
      SqlRow& row = rows.emplace_back();
      for (int c = 0; c < columns; ++c) {
        if (PQgetisnull(result.get(), r, c)) {
          row.emplace_back();
        } else {
          row.emplace_back(std::string(PQgetvalue(result.get(), r, c),
                                       static_cast<std::size_t>(PQgetlength(result.get(), r, c))));
        }
      }
    }
    return rows;
  }

 private:
  void Check(const Result& result) const {
    const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
      throw DatabaseError(std::string("postgresql: ") + PQerrorMessage(db_));
    }
  }

  PGconn* db_;
};

}  // namespace

std::unique_ptr<Connection> ConnectPostgres(const std::string& url) {
  return std::make_unique<PostgresConnection>(url);
}

}  // namespace rqbservice
