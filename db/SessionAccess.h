#pragma once
// The engine's own way into a session's store, for the parts of the engine that are free
// functions rather than members.

#include "db/NoxDbI.h"
#include "db/storage/Store.h"

class SessionAccess {
 public:
  static noxdb::Store* Store(const CNoxDbI& session) { return session.store_.get(); }
  static int Record(const CNoxDbI& session, const noxdb::Status& status) {
    return session.Record(status);
  }
};
