#include "db/storage/Store.h"

namespace noxdb {

bool IsServerLocation(const std::string& location) {
  return location.rfind("postgresql://", 0) == 0 || location.rfind("postgres://", 0) == 0;
}

std::unique_ptr<Store> OpenStore(const std::string& location, Status* status, OpenMode mode) {
  return IsServerLocation(location) ? OpenPostgresStore(location, status, mode)
                                    : OpenSqliteStore(location, status, mode);
}

}  // namespace noxdb
