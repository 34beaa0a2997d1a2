#pragma once
// The stores a benchmark runs on in one run: a SQLite database file in the benchmark's
// folder, and a fresh schema on a PostgreSQL server (by default the build tree's throwaway
// cluster, see scripts/pg-cluster.sh), dropped again at the end.

#include <libpq-fe.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace nox::bench {

class BenchStores {
 public:
  struct Store {
    std::string name, location;
  };

  BenchStores(const std::filesystem::path& dir, std::string server) : server_(std::move(server)) {
    stores_.push_back({"SQLite", (dir / "bench.noxdb").string()});
    schema_ = "bench_" + std::to_string(getpid());
    skipped_ = OnServer("CREATE SCHEMA " + schema_);
    if (skipped_.empty()) {
      const char* join = server_.find('?') == std::string::npos ? "?" : "&";
      stores_.push_back({"PostgreSQL", server_ + join + "options=-csearch_path%3D" + schema_});
    }
  }
  ~BenchStores() {
    if (skipped_.empty()) OnServer("DROP SCHEMA " + schema_ + " CASCADE");
  }

  const std::vector<Store>& stores() const { return stores_; }
  // Why PostgreSQL is not among the stores; empty when it is.
  const std::string& skipped() const { return skipped_; }

 private:
  std::string OnServer(const std::string& sql) const {
    PGconn* conn = PQconnectdb(server_.c_str());
    std::string error;
    if (PQstatus(conn) == CONNECTION_OK) {
      PQsetNoticeProcessor(conn, [](void*, const char*) {}, nullptr);
      PGresult* r = PQexec(conn, sql.c_str());
      if (PQresultStatus(r) != PGRES_COMMAND_OK) error = PQerrorMessage(conn);
      PQclear(r);
    } else {
      error = PQerrorMessage(conn);
    }
    PQfinish(conn);
    return error;
  }

  std::string server_, schema_, skipped_;
  std::vector<Store> stores_;
};

}  // namespace nox::bench
